// The watch keeps the smallest distance and the smallest mu.
#include "solve/conic/stall_watch.h"

#include <algorithm>

namespace vorlan::conic {
namespace {

// A run ends after this many iterations in which it came no nearer to any claim, and after fewer of
// them when a claim is near.
constexpr int32_t kMostIdleIterations = 15;
constexpr int32_t kMostIdleIterationsNear = 5;
// A claim is near within this multiple of what it allows.
constexpr double kNear = 100.0;
// To come nearer is to leave no more than this share.
constexpr double kNearer = 0.9;
// A mu below this cannot fall to any use.
constexpr double kExhaustedMu = 1e-12;
// The first mu is 1. One so much larger grows without end, by steps that rounding has made.
constexpr double kDivergedMu = 1e8;

}  // namespace

bool StallWatch::is_stalled(int32_t iteration, double distance, double mu) {
  if (!(mu < kDivergedMu)) return true;
  const bool is_near = nearest_ < kNear;
  const bool mu_falls = !is_near && mu > kExhaustedMu && mu < kNearer * nearest_mu_;
  const bool comes_nearer = distance < kNearer * nearest_;
  if (comes_nearer) last_gain_ = iteration;
  if (comes_nearer || mu_falls) nearest_iteration_ = iteration;
  nearest_ = std::min(nearest_, distance);
  nearest_mu_ = std::min(nearest_mu_, mu);
  return iteration - nearest_iteration_ > (is_near ? kMostIdleIterationsNear : kMostIdleIterations);
}

}  // namespace vorlan::conic
