// accept.h - writes what a run did into its case file, in place of what the case stated.
#pragma once

#include "casefile.h"
#include "run.h"

namespace program {

// Replaces the expectations of the case; everything else of the file stays as it is.
void accept(const Case& what, const Outcome& actual, const Sequences& sequences);

}  // namespace program
