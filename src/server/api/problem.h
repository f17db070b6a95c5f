// Errors of the interface, as RFC 9457 wants them.
#pragma once

#include <string>
#include <string_view>

#include "http/message.h"

namespace vorlan::server {

// `kind` is a word for programs ("too-many-jobs"), `detail` a sentence for people.
Answer problem(int status, std::string_view kind, std::string_view detail);

}  // namespace vorlan::server
