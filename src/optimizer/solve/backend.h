// A backend solves models by one method. It is a folder of its own that alone knows its solver's
// headers; in front of it stands one Backend. It always gets a minimization and answers in its
// terms: the sense of the task is applied where solutions are made (make_solution.h), nowhere else.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "task/model.h"
#include "task/parameters.h"
#include "task/solution.h"
#include "task/status.h"

namespace vorlan {

// A solve may end once it has a point whose objective is below the lower cutoff, or has proved that
// none is below the upper one. They are of the minimization, with the model's constant.
struct Cutoffs {
  double lower = -kInfinity;
  double upper = kInfinity;
};

// minimize cost'x subject to the constraints and bounds of the model. A backend may start from an
// earlier solution of the task, of the same number of variables and constraints; it may be no
// solution of this model.
struct MinimizeProblem {
  const Model& model;
  std::vector<double> cost;
  const Solution* start;  // nullptr: none
  Cutoffs cutoffs;

  explicit MinimizeProblem(const Model& task_model, const Solution* start_solution = nullptr,
                           Cutoffs given_cutoffs = {});
  double sense_factor() const { return model.sense_factor(); }
};

// How far a solve has come. Objective and bound are those of the minimization, without constant;
// infinite or NaN means not known.
struct Progress {
  double objective = kInfinity;
  double bound = -kInfinity;
  double relative_gap = kInfinity;
  int64_t simplex_iterations = 0;
  int64_t interior_iterations = 0;
  int64_t nodes = 0;
  int64_t open_nodes = -1;  // negative: not known
};

enum class Outcome : int32_t {
  kUnknown,     // ended without a claim
  kStopped,     // ended early; the termination code says why
  kOptimal,     // the point is claimed optimal
  kInfeasible,  // no feasible point; with or without a dual ray
  kUnbounded,   // dual infeasible; with or without a primal ray
  kInfeasibleOrUnbounded,
  kIllPosed,  // with a ray whose objective is 0
};

// Says what the arrays of a result hold when they hold no point.
enum class Certificate : int32_t { kNone, kDualRay, kPrimalRay, kCrossedBounds };

// The answer of a backend: a point (x, barx), multipliers of the constraints (y), reduced costs
// (d), duals of the cones (snx) and of the matrix variables (bars), and status keys, each array
// empty when there is none. Matrices are packed lower triangles, column by column, one matrix
// variable after the other. Signs: for a linear model cost - A'y = d, with y_i >= 0 at a lower
// side, d_j >= 0 at a lower bound. In general
//
//   cost + Q x - A'y - sum_i y_i Q_i x = d + snx,    C - sum_i y_i A_i = bars,
//
// where Q and C are of the minimization, as cost is, the part of snx at the members of a cone is in
// its dual cone, snx is 0 elsewhere, and bars is positive semidefinite. With a certificate, y, d,
// snx and bars are a dual ray (cost, C and Q gone; with multipliers at quadratic constraints it
// needs an x, see complete_dual_ray), or x and barx are a primal ray.
struct BackendResult {
  Outcome outcome = Outcome::kUnknown;
  Certificate certificate = Certificate::kNone;
  Code termination = Code::kOk;
  Progress progress;
  std::vector<double> x, y, d;
  std::vector<double> snx, barx, bars;
  std::vector<StatusKey> var_key, con_key;
  // Of a linear optimum where it was asked for: kRangeFigures of each variable's cost, then of each
  // constraint's side, in the terms of the minimization.
  std::vector<double> ranging;
};

// The least and the most that a cost or a side can be, and the objectives there.
inline constexpr size_t kRangeFigures = 4;

// Parts of a model that contradict each other: for each constraint and then for each variable a sum
// of the marks below, then one byte for each cone, then one for each special ordered set. Matrix
// variables count without marks.
struct Conflict {
  static constexpr uint8_t kLower = 1;
  static constexpr uint8_t kUpper = 2;
  static constexpr uint8_t kIntegrality = 4;

  std::vector<uint8_t> marks;  // empty: none was found
  bool is_minimal = false;     // proved that no part can be left out
};

// A feasible point of a mixed-integer model, with its matrix variables.
struct Incumbent {
  std::vector<double> x, barx;
};

// For a search whose answer with the usual tolerances is in doubt: integers and constraints as
// exact as branch and bound can take them, or as the caller asks for already.
Parameters with_strict_tolerances(Parameters parameters);

// The same without presolve, whose tolerances are its own.
Parameters careful_parameters(const Parameters& given);

// A random seed that is not the given one.
int32_t other_seed(const Parameters& parameters);

// A backend that was stopped, and has no point of its own, has the last incumbent.
void keep_incumbent(Incumbent best, BackendResult* result);

// How well an answer fits the model. Infinite where there is nothing to measure, or where there was
// no time for it.
struct Residuals {
  double primal = kInfinity;
  double dual = kInfinity;
  double gap = kInfinity;
};

// The checker's findings on an answer.
struct Verdict {
  Residuals residuals;
  bool ray_holds = false;  // the answer's certificate is one
};

// An answer that was held against the model. Whoever takes it needs no more than a look at each
// number: all that can last, finding and checking, is done.
struct Answer {
  BackendResult result;
  Verdict verdict;
  bool is_held = false;  // by the task from an earlier solve
  Conflict conflict;     // of an infeasible model
};

// A backend's way to the outside while it runs.
class BackendMonitor {
 public:
  virtual ~BackendMonitor() = default;
  // Log text, whole lines or pieces of them.
  virtual void log(std::string_view text) = 0;
  // A backend calls this as often as its solver allows. When it is true, the backend ends as soon
  // as possible.
  virtual bool should_stop(const Progress& progress) = 0;
  // An event of a mixed-integer solve that is worth a line of its table at once: a better point, the
  // first bound, a round. The origin says in a few words where it comes from.
  virtual void milestone(const Progress& /*progress*/, std::string_view /*origin*/) {}
  // A better feasible point of a mixed-integer model; barx is empty where it has no matrix
  // variables.
  virtual void incumbent(std::span<const double> x, std::span<const double> barx) = 0;
  // True when it is time for keep again: the point costs something to make.
  virtual bool wants_point() { return false; }
  // The point, with multipliers if there are any, that stands should the process end before the
  // solve does. Its violation of the constraints is infinite where nobody has measured it.
  virtual void keep(const BackendResult& /*point*/, double /*primal_violation*/) {}
  // The answer, found and checked, that stands should the process end while something more is looked
  // for.
  virtual void keep_answer(const Answer& /*answer*/) {}
};

// For a solve on the way to another one, whose log, points and figures mean nothing outside.
class SilentMonitor : public BackendMonitor {
 public:
  // Stops when the outside does, which goes on seeing the progress from before.
  explicit SilentMonitor(BackendMonitor* outside, const Progress& before = {})
      : outside_(outside), before_(before) {}
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return outside_->should_stop(before_); }
  void incumbent(std::span<const double>, std::span<const double>) override {}

 private:
  BackendMonitor* outside_;
  Progress before_;
};

struct Backend {
  const char* name;
  // Solves within the seconds given, as far as the method looks at them: the monitor, which knows
  // the limit too, is asked at every step. A failure means that there is no result; a stop is none.
  Status (*solve)(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                  BackendMonitor* monitor, BackendResult* result);
  // Loads the libraries that a solve may load; nullptr: it loads none. What another thread loads at
  // the moment of a fork would leave the child's loader locked.
  void (*load_libraries)() = nullptr;
};

}  // namespace vorlan
