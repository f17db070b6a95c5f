// `vorlanserver token add|list|revoke`: works on the data folder, beside a running server or not.
#pragma once

#include <string>
#include <vector>

namespace vorlan::server {

// The words after "token". Returns the exit status.
int run_token_command(const std::vector<std::string>& words);

}  // namespace vorlan::server
