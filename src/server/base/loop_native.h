// What is behind Loop; for loop.cpp and the HTTP connections only.
#pragma once

#include <boost/asio/io_context.hpp>

#include "base/loop.h"

namespace vorlan::server {

struct Loop::Native {
  boost::asio::io_context context{1};
};

}  // namespace vorlan::server
