// The line of a second solve; see second_solve.h.
#include "solve/second_solve.h"

#include <algorithm>
#include <utility>

#include "task/text.h"

namespace vorlan {
namespace {

// A solve that lasts so long is announced, so that its line does not come out of a long silence.
constexpr double kLongSeconds = 1.0;

// Two numbers of iterations, of which a negative one counts nothing.
int64_t sum_of_counts(int64_t a, int64_t b) {
  return std::max<int64_t>(0, a) + std::max<int64_t>(0, b);
}

}  // namespace

const char* words_of(Outcome outcome) {
  switch (outcome) {
    case Outcome::kOptimal:
      return "optimal";
    case Outcome::kInfeasible:
      return "primal infeasible";
    case Outcome::kUnbounded:
      return "dual infeasible";
    case Outcome::kInfeasibleOrUnbounded:
      return "primal or dual infeasible";
    case Outcome::kIllPosed:
      return "ill-posed";
    default:
      return "no answer";
  }
}

SecondSolve::SecondSolve(std::string_view how, BackendMonitor* outside, const Progress& before)
    : how_(how), outside_(outside), before_(before) {}

double SecondSolve::elapsed() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

Progress SecondSolve::with_before(const Progress& progress) const {
  Progress all = progress;
  all.simplex_iterations = sum_of_counts(progress.simplex_iterations, before_.simplex_iterations);
  all.interior_iterations =
      sum_of_counts(progress.interior_iterations, before_.interior_iterations);
  all.nodes = sum_of_counts(progress.nodes, before_.nodes);
  return all;
}

bool SecondSolve::should_stop(const Progress& progress) {
  if (!is_announced_ && elapsed() > kLongSeconds) {
    is_announced_ = true;
    outside_->log("Solving again " + how_ + '\n');
  }
  return outside_->should_stop(with_before(progress));
}

void SecondSolve::milestone(const Progress& progress, std::string_view origin) {
  outside_->milestone(with_before(progress), origin);
}

void SecondSolve::sum_up(std::string_view found, const Progress& work, Stands stands) const {
  static constexpr const char* kEnds[] = {"; the first answer stands", "; this answer stands", ""};
  std::string text = "Solved again " + how_ + ": ";
  text += found;
  if (work.nodes > 0) text += ", " + counted(work.nodes, "node");
  text +=
      ", " + counted(sum_of_counts(work.simplex_iterations, work.interior_iterations), "iteration");
  text += format_text(", %.2f s%s\n", elapsed(), kEnds[static_cast<size_t>(stands)]);
  outside_->log(text);
}

}  // namespace vorlan
