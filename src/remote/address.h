// Addresses of solver servers: "http://SERVER[:PORT]" or "https://SERVER[:PORT]".
#pragma once

#include <string>

namespace vorlan::remote {

struct Address {
  std::string url;  // without a slash at the end
  bool is_encrypted = false;
  bool is_this_machine = false;
};

// Throws Failure for anything else, a user name or a path among it.
Address parse_address(const std::string& text);

}  // namespace vorlan::remote
