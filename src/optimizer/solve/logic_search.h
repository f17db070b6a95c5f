// Whether models with special ordered sets and indicators have feasible points: by branching on sets
// and indicators themselves, as tree searches do without a reformulation. Unlike that one it needs
// no bounds, which is what the search for contradictions asks of it: there bounds are left out.
#pragma once

#include <functional>
#include <vector>

#include "task/model.h"

namespace vorlan {

enum class Feasibility { kFeasible, kInfeasible, kUnknown };

// What is known of a model without sets and indicators; x is a point of a feasible one.
struct PlainAnswer {
  Feasibility feasibility = Feasibility::kUnknown;
  std::vector<double> x;
};
using DecidePlain = std::function<PlainAnswer(const Model& plain)>;

// Asks for models without sets and indicators until it knows. Unknown where one of these is and no
// other is feasible, or after too many of them.
Feasibility decide_with_logic(const Model& model, const DecidePlain& decide);

}  // namespace vorlan
