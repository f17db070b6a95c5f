// The manual page vorlan(1), made from the table of the words.
#pragma once

#include <string>

#include "command_table.h"

namespace vorlan::companion {

// In mdoc, as man reads it.
std::string manual_page(const CommandTable& table);

}  // namespace vorlan::companion
