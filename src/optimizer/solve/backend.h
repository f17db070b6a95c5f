// What an optimizer backend is to the rest of the library. A backend is a folder of its own that
// alone knows its solver's headers; in front of it stands one Backend. It always gets a
// minimization and answers in its terms: the sense of the task is applied where solutions are
// made (make_solution.h), nowhere else.
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

// minimize cost'x subject to the constraints and bounds of the model. A backend may start from an
// earlier solution of the task, of the same number of variables and constraints; it may be no
// solution of this model.
struct MinimizeProblem {
  const Model& model;
  std::vector<double> cost;
  const Solution* start;  // nullptr: none

  explicit MinimizeProblem(const Model& task_model, const Solution* start_solution = nullptr);
  double sense_factor() const { return model.maximize ? -1.0 : 1.0; }
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
};

enum class Outcome : int32_t {
  kUnknown,     // ended without a claim
  kStopped,     // ended early; the termination code says why
  kOptimal,     // the point is claimed optimal
  kInfeasible,  // no feasible point; with or without a dual ray
  kUnbounded,   // dual infeasible; with or without a primal ray
  kInfeasibleOrUnbounded,
};

// What the arrays of a result hold.
enum class Certificate : int32_t { kNone, kDualRay, kPrimalRay, kCrossedBounds };

// The answer of a backend: a point (x), multipliers of the constraints (y), reduced costs (d) and
// status keys, each array empty when there is none. Signs: cost - A'y = d, with y_i >= 0 at a
// lower side, d_j >= 0 at a lower bound. With a certificate, y and d are a dual ray (-A'y = d), or
// x is a primal ray.
struct BackendResult {
  Outcome outcome = Outcome::kUnknown;
  Certificate certificate = Certificate::kNone;
  Code termination = Code::kOk;
  Progress progress;
  std::vector<double> x, y, d;
  std::vector<StatusKey> var_key, con_key;
};

// A backend's way to the outside while it runs.
class BackendMonitor {
 public:
  virtual ~BackendMonitor() = default;
  // Log text, whole lines or pieces of them.
  virtual void log(std::string_view text) = 0;
  // To be called as often as the solver allows; true: end as soon as possible.
  virtual bool should_stop(const Progress& progress) = 0;
  // A better feasible point of a mixed-integer model.
  virtual void incumbent(std::span<const double> x) = 0;
};

struct Backend {
  const char* name;
  // Whether it takes this kind of model.
  bool (*accepts)(const Model& model);
  // Solves within the seconds given. A failure means that there is no result; a stop is none.
  Status (*solve)(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                  BackendMonitor* monitor, BackendResult* result);
};

// The first backend that takes the model, or nullptr.
const Backend* choose_backend(const Model& model);

}  // namespace vorlan
