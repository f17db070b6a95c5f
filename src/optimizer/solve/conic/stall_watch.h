// Notices a run that comes no nearer to any claim.
//
// Rounding can keep an iteration from its end for ever, at residuals that neither shrink nor grow.
// Far from a claim a falling mu counts as coming nearer, because residuals may have to wait for it.
// Rounding can also lead it away for ever, which the mu tells.
#pragma once

#include "solve/conic/conic_answer.h"

namespace vorlan::conic {

class StallWatch {
 public:
  // Takes the iteration's distance from the nearest claim, in parts of what the claim allows. True:
  // too many iterations have passed without coming nearer, or the run diverges.
  bool is_stalled(int32_t iteration, double distance, double mu);
  // Iterations since one came nearer, whatever mu did.
  int32_t idle_iterations(int32_t now) const { return now - last_gain_; }

 private:
  double nearest_ = kInfinity;
  double nearest_mu_ = kInfinity;
  int32_t nearest_iteration_ = 0;  // or the last one in which mu counted
  int32_t last_gain_ = 0;
};

}  // namespace vorlan::conic
