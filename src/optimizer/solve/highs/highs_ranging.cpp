// HiGHS ranges from the factorized basis that the simplex method leaves. After presolve or another
// method there may be none; then a run from the basis, which takes no iterations, makes it.
#include "solve/highs/highs_ranging.h"

#include "Highs.h"

namespace vorlan {
namespace {

bool get_ranging(Highs* highs, HighsRanging* ranging) {
  if (highs->getRanging(*ranging) == HighsStatus::kOk && ranging->valid) return true;
  highs->setOptionValue("presolve", "off");
  highs->setOptionValue("solver", "simplex");
  if (highs->run() != HighsStatus::kOk) return false;
  return highs->getModelStatus() == HighsModelStatus::kOptimal &&
         highs->getRanging(*ranging) == HighsStatus::kOk && ranging->valid;
}

void append(const HighsRangingRecord& down, const HighsRangingRecord& up, size_t count,
            std::vector<double>* figures) {
  for (size_t k = 0; k < count; ++k) {
    figures->push_back(down.value_[k]);
    figures->push_back(up.value_[k]);
    figures->push_back(down.objective_[k]);
    figures->push_back(up.objective_[k]);
  }
}

}  // namespace

void copy_ranging(const MinimizeProblem& problem, Highs* highs, BackendResult* result) {
  HighsRanging ranging;
  if (!get_ranging(highs, &ranging)) return;
  append(ranging.col_cost_dn, ranging.col_cost_up, problem.cost.size(), &result->ranging);
  append(ranging.row_bound_dn, ranging.row_bound_up, problem.model.con_lower.size(),
         &result->ranging);
}

}  // namespace vorlan
