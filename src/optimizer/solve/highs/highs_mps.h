// Reading MPS files through HiGHS.
#pragma once

#include <string>

#include "task/model.h"
#include "task/status.h"

namespace vorlan {

// Reads an MPS file into *model. *warnings receives what the reader had to say on success, one
// line each. Messages call the file shown_name.
Status read_mps_with_highs(const std::string& filename, const std::string& shown_name, Model* model,
                           std::string* warnings);

}  // namespace vorlan
