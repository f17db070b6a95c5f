// The cone of scalar variables that a block of the problem asks for.
#pragma once

#include <memory>

#include "solve/conic/conic_problem.h"
#include "solve/conic/scaled_cone.h"

namespace vorlan::conic {

std::unique_ptr<ScaledCone> make_cone(const ConeBlock& block);

}  // namespace vorlan::conic
