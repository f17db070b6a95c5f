// The part of Loop that only loop.cpp and the HTTP connections see.
#pragma once

#include <boost/asio/io_context.hpp>

#include "base/loop.h"

namespace vorlan::server {

struct Loop::Native {
  boost::asio::io_context context{1};
};

}  // namespace vorlan::server
