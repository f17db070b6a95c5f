// The progress lines of a mixed-integer solve: what a person sees of given figures at given times.
#include "solve/run/listener.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace vorlan {
namespace {

void append_log(void* handle, const char* text) { *static_cast<std::string*>(handle) += text; }

class ProgressLines : public testing::Test {
 protected:
  ProgressLines() {
    task_.model.cost = {1.0};
    task_.model.var_kind = {VarKind::kInteger};
    task_.log.link_function(&log_, append_log);
    EXPECT_TRUE(task_.parameters.put_by_name("VLN_DPAR_LOG_INTERVAL", "0.001").ok());
  }

  void beat(Listener* listener, double objective, int64_t nodes) {
    Progress progress;
    progress.objective = objective;
    progress.bound = 2.0;
    progress.nodes = nodes;
    usleep(2000);
    listener->beat_now(progress);
  }

  int64_t num_lines() const { return std::count(log_.begin(), log_.end(), '\n'); }

  vlntaskt task_;
  std::string log_;
};

TEST_F(ProgressLines, AStarMarksABetterIncumbent) {
  Listener listener(&task_);
  beat(&listener, kInfinity, 0);
  beat(&listener, 4.0, 1);
  beat(&listener, 4.0, 2);
  beat(&listener, 3.0, 3);
  ASSERT_EQ(num_lines(), 5) << log_;
  std::string marks;
  for (size_t at = log_.find('\n'); at + 1 < log_.size(); at = log_.find('\n', at + 1)) {
    marks += log_[at + 1];
  }
  EXPECT_EQ(marks, " * *") << log_;
  EXPECT_NE(log_.find("  -               2         -\n"), std::string::npos) << log_;
  EXPECT_NE(log_.find("  3               2    33.33%\n"), std::string::npos) << log_;
}

TEST_F(ProgressLines, TheHeadingComesAgain) {
  Listener listener(&task_);
  for (int i = 0; i < 21; ++i) beat(&listener, 4.0, i);
  EXPECT_EQ(num_lines(), 23) << log_;
  EXPECT_NE(log_.find("time"), log_.rfind("time"));
}

TEST_F(ProgressLines, NothingNewIsToldSeldom) {
  EXPECT_TRUE(task_.parameters.put_by_name("VLN_DPAR_LOG_INTERVAL", "0.05").ok());
  Listener listener(&task_);
  while (num_lines() < 3 && listener.elapsed() < 20.0) beat(&listener, 4.0, 1);
  const size_t second = log_.find('\n', log_.find('\n') + 1) + 1;
  ASSERT_LT(second, log_.size()) << "no sign of life";
  const double first_time = std::stod(log_.substr(log_.find('*') + 1));
  // Ten intervals, shown with two digits.
  EXPECT_GE(std::stod(log_.substr(second)) - first_time, 0.39) << log_;
}

TEST_F(ProgressLines, AMilestoneIsToldAtOnceWithItsOrigin) {
  EXPECT_TRUE(task_.parameters.put_by_name("VLN_DPAR_LOG_INTERVAL", "inf").ok());
  task_.model.maximize = true;
  task_.model.constant = 100.0;
  Listener listener(&task_);
  Progress progress;
  progress.objective = -5.0;
  progress.bound = -6.0;
  progress.nodes = 7;
  progress.open_nodes = 3;
  progress.simplex_iterations = 40;
  listener.milestone(progress, "rounding", monotonic_seconds());
  listener.milestone(progress, "again", monotonic_seconds());
  ASSERT_EQ(num_lines(), 3) << log_;
  EXPECT_NE(log_.find(" 7          3          40             105             106     0.95%  "
                      "rounding\n"),
            std::string::npos)
      << log_;
  EXPECT_EQ(std::count(log_.begin(), log_.end(), '*'), 1) << "the second is no better";
}

}  // namespace
}  // namespace vorlan
