// Completions of the command line for shells, made from the table of its words.
#pragma once

#include <string>

#include "command_table.h"

namespace vorlan::companion {

// The script that the shell reads; the shell is one of kShells.
std::string shell_completion(const CommandTable& table, const std::string& shell);

}  // namespace vorlan::companion
