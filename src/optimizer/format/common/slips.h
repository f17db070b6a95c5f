// Variables that are there by a slip of the pen: a misspelt name in a file that a person wrote is
// one variable more, and the model another one.
#pragma once

#include <string>

#include "format/common/format.h"
#include "task/model.h"

namespace vorlan {

// Warns of variables that the model mentions once, with a name that differs by one slip from that
// of another variable: in case, by a letter within, or by two letters that have changed places.
// Names that programs number differ in digits, which are no slips; names in capitals are often codes,
// and count when they are words of several letters. Models of more variables than a person writes
// are left alone.
void warn_of_slips(const Model& model, const std::string& shown_name, Warnings* warnings);

}  // namespace vorlan
