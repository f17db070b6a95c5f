// HiGHS's table of branch and bound is read by columns; remarks stand between its rows.
#include "solve/highs/highs_log.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorlan {
namespace {

class SilentMonitor : public BackendMonitor {
 public:
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
};

TEST(HighsLog, RemarksInTheTableAreNoRows) {
  const Model model;
  const MinimizeProblem problem(model);
  SilentMonitor monitor;
  std::vector<int64_t> open;
  std::vector<int64_t> cuts;
  HighsLog log(problem, &monitor, [&](const HighsTableRow& row) {
    open.push_back(row.open_nodes);
    cuts.push_back(row.cuts);
  });
  log.take(
      "Src: B => Branching; C => Central rounding; F => Feasibility pump; H => Heuristic;\n"
      "Src  Proc. InQueue |  Leaves   Expl. | BestBound       BestSol              Gap |  Cuts  "
      "InLp\n"
      "\n"
      " R       0       0         0   0.00%   -1096.759714    -1095.742715       0.09%      6      "
      "4\n"
      "62.5% inactive integer columns, restarting\n"
      "Presolve rules not allowed:\n"
      "   Rule  7 (bit  128): Forcing col\n"
      "   Rule 13 (bit 8192): Parallel rows and columns\n"
      "        12       5         1  50.00%   -1096.088481    -1096.088481       0.00%     40     "
      "33\n");
  EXPECT_EQ(open, (std::vector<int64_t>{0, 5}));
  EXPECT_EQ(cuts, (std::vector<int64_t>{4, 33}));
}

}  // namespace
}  // namespace vorlan
