// The deletion filter (Chinneck and Dravnieks, ORSA Journal on Computing 3, 1991) with groups of
// parts, which it halves: what is left out at once need not be left out one by one. A part is a side
// of a constraint, a bound, the integrality of a variable, a cone or a special ordered set. What the
// certificate does not need is left out from the beginning, and after each solve that has one.
//
// A constraint under a condition is left out with its condition. The variable of the condition stays
// a binary one, which is no part; that it is fixed is one.
#include "solve/conflict.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "solve/check/checker.h"
#include "solve/choose_backend.h"
#include "solve/logic_search.h"
#include "solve/make_solution.h"
#include "solve/run/listener.h"
#include "task/numeric.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kNothing = 1e-9;  // as a share of the largest multiplier
// A search that nobody has asked for, to name the reason in the log, is as short as that.
constexpr int64_t kMostPartsUnasked = 400;
constexpr int64_t kMostNodesUnasked = 1000;
constexpr int kMostSolvesUnasked = 60;
constexpr int64_t kMostIterationsUnasked = 2000;  // and this many times those of the solve before
constexpr int64_t kTimesOfTheSolve = 3;
constexpr size_t kMostPartsOfAReason = 12;
constexpr int32_t kNodesOfASolve = 2000;

struct Part {
  size_t place;   // in the marks
  uint8_t marks;  // of which it consists
};

bool is_finite_side(double side) { return std::isfinite(side); }

// The variables of conditions.
std::vector<bool> find_switches(const Model& model) {
  std::vector<bool> is_switch(model.cost.size(), false);
  for (const Indicator& indicator : model.indicators) is_switch[index(indicator.binary)] = true;
  return is_switch;
}

// All that can contradict something.
std::vector<Part> list_parts(const Model& model) {
  std::vector<Part> parts;
  const auto add_sides = [&](size_t place, double lower, double upper) {
    if (is_finite_side(lower) && lower == upper) {
      parts.push_back({place, Conflict::kLower | Conflict::kUpper});
      return;
    }
    if (is_finite_side(lower)) parts.push_back({place, Conflict::kLower});
    if (is_finite_side(upper)) parts.push_back({place, Conflict::kUpper});
  };
  const size_t num_con = model.con_lower.size();
  const size_t num_var = model.cost.size();
  const size_t num_groups = model.cones.size() + model.sets.size();
  const std::vector<bool> is_switch = find_switches(model);
  for (size_t i = 0; i < num_con; ++i) add_sides(i, model.con_lower[i], model.con_upper[i]);
  for (size_t k = 0; k < num_groups; ++k) parts.push_back({num_con + num_var + k, 1});
  for (size_t j = 0; j < num_var; ++j) {
    if (is_switch[j]) {
      const bool is_fixed = model.var_lower[j] == model.var_upper[j];
      if (is_fixed) parts.push_back({num_con + j, Conflict::kLower | Conflict::kUpper});
      continue;
    }
    // A semi-continuous variable is its bounds.
    if (!is_semi(model.var_kind[j])) {
      add_sides(num_con + j, model.var_lower[j], model.var_upper[j]);
    }
    if (is_integer(model.var_kind[j])) parts.push_back({num_con + j, Conflict::kIntegrality});
  }
  return parts;
}

// The model with the marked parts alone, and nothing to minimize.
Model reduced(const Model& model, const std::vector<uint8_t>& marks) {
  Model part = model;
  const size_t num_con = model.con_lower.size();
  const size_t num_var = model.cost.size();
  part.maximize = false;
  part.constant = 0.0;
  part.cost.assign(num_var, 0.0);
  part.quadratic_cost.clear();
  part.matrix_cost.clear();
  for (size_t i = 0; i < num_con; ++i) {
    if ((marks[i] & Conflict::kLower) == 0) part.con_lower[i] = -kInfinity;
    if ((marks[i] & Conflict::kUpper) == 0) part.con_upper[i] = kInfinity;
  }
  const std::vector<bool> is_switch = find_switches(model);
  for (size_t j = 0; j < num_var; ++j) {
    const uint8_t mark = marks[num_con + j];
    if (is_switch[j]) {
      if (mark != 0) continue;
      part.var_lower[j] = 0.0;
      part.var_upper[j] = 1.0;
      continue;
    }
    if (is_integer(model.var_kind[j]) && (mark & Conflict::kIntegrality) == 0) {
      part.var_kind[j] =
          is_semi(model.var_kind[j]) ? VarKind::kSemiContinuous : VarKind::kContinuous;
    }
    if (is_semi(model.var_kind[j])) continue;
    if ((mark & Conflict::kLower) == 0) part.var_lower[j] = -kInfinity;
    if ((mark & Conflict::kUpper) == 0) part.var_upper[j] = kInfinity;
  }
  part.cones.clear();
  part.cone_names = {};
  for (size_t k = 0; k < model.cones.size(); ++k) {
    if (marks[num_con + num_var + k] == 0) continue;
    part.cones.push_back(model.cones[k]);
    part.cone_names.add(model.cone_names[k]);
  }
  part.sets.clear();
  part.set_names = {};
  for (size_t k = 0; k < model.sets.size(); ++k) {
    if (marks[num_con + num_var + model.cones.size() + k] == 0) continue;
    part.sets.push_back(model.sets[k]);
    part.set_names.add(model.set_names[k]);
  }
  std::erase_if(part.indicators,
                [&](const Indicator& indicator) { return marks[index(indicator.con)] == 0; });
  // Quadratic terms of a row that is free would still have to be convex.
  std::erase_if(part.quadratic_coefficients,
                [&](const ConQuadraticEntry& e) { return marks[index(e.con)] == 0; });
  return part;
}

class Filter {
 public:
  // The progress is that of the solve before, which goes on being shown.
  Filter(const Model& model, const Parameters& parameters, double seconds, const Progress& progress,
         BackendMonitor* monitor)
      : model_(model),
        parameters_(parameters),
        end_(monotonic_seconds() + seconds),
        progress_(progress),
        monitor_(monitor),
        num_con_(model.con_lower.size()),
        num_var_(model.cost.size()) {
    parameters_.set(IntParam::kMipNodeLimit,
                    std::min(kNodesOfASolve, parameters.get(IntParam::kMipNodeLimit)));
    // The rays of the simplex method have no more multipliers than they need.
    parameters_.set(IntParam::kOptimizer, kFreeOptimizer);
    parameters_.set(DoubleParam::kLowerCutoff, -kInfinity);
    parameters_.set(DoubleParam::kUpperCutoff, kInfinity);
  }

  void limit(int most_solves, int64_t most_iterations) {
    most_solves_ = most_solves;
    most_iterations_ = most_iterations;
  }
  size_t num_parts() const { return known().size(); }
  int solves() const { return solves_; }

  // Everything, integrality left out where the model without it is infeasible, too.
  bool start() {
    parts_ = list_parts(model_);
    std::vector<Part> continuous = parts_;
    std::erase_if(continuous, [](const Part& p) { return p.marks == Conflict::kIntegrality; });
    if (is_infeasible(&continuous)) {
      parts_ = std::move(continuous);
      return true;
    }
    proved_ = parts_;
    return model_.is_mixed_integer() && parts_.size() > continuous.size();
  }

  // What was left out by certificates alone, whose small multipliers count as nothing, may be needed
  // after all. Then the parts that were last proved are gone through without such short cuts.
  void run() {
    leave_out_parts();
    verify();
    if (is_verified_ || is_over()) return;
    parts_ = proved_;
    trusts_certificates_ = false;
    leave_out_parts();
    verify();
  }

  Conflict conflict() const {
    return {marks_of(known()), is_verified_ && !is_over() && !has_doubt_};
  }

 private:
  // Groups of half of the parts, of a quarter, ... and then each part.
  void leave_out_parts() {
    for (size_t size = std::max<size_t>(1, parts_.size() / 2);; size /= 2) {
      // From the end: bounds and integrality are left out before constraints.
      for (size_t end = parts_.size(); end > 0 && !is_over();) {
        const size_t begin = end - std::min(end, size);
        std::vector<Part> rest(parts_.begin(), parts_.begin() + static_cast<ptrdiff_t>(begin));
        rest.insert(rest.end(), parts_.begin() + static_cast<ptrdiff_t>(end), parts_.end());
        const bool is_needed = !is_infeasible(&rest);
        if (!is_needed) parts_ = std::move(rest);
        end = std::min(begin, parts_.size());
      }
      if (size <= 1 || is_over()) break;
    }
  }

  void verify() {
    std::vector<Part> all = parts_;
    is_verified_ = is_infeasible(&all);
  }

  // The parts that are known to contradict each other.
  const std::vector<Part>& known() const { return is_verified_ ? parts_ : proved_; }

  bool is_over() const {
    return solves_ >= most_solves_ || iterations_ >= most_iterations_ ||
           monotonic_seconds() >= end_ || monitor_->should_stop(progress_);
  }

  std::vector<uint8_t> marks_of(const std::vector<Part>& parts) const {
    std::vector<uint8_t> marks(num_con_ + num_var_ + model_.cones.size() + model_.sets.size(), 0);
    for (const Part& part : parts) {
      marks[part.place] = static_cast<uint8_t>(marks[part.place] | part.marks);
    }
    return marks;
  }

  // Whether the parts contradict each other. Where a certificate proves it, they become those that
  // it needs.
  bool is_infeasible(std::vector<Part>* parts) {
    std::vector<Part> given = *parts;
    if (!contradict(parts)) return false;
    proved_ = std::move(given);
    return true;
  }

  bool contradict(std::vector<Part>* parts) {
    if (is_over()) return false;
    const Model model = reduced(model_, marks_of(*parts));
    if (find_crossed_bounds(model).found()) {
      ++solves_;
      return keep_crossed(model, parts);
    }
    if (!model.has_logic()) return decide(model, parts).feasibility == Feasibility::kInfeasible;
    // A certificate of one of the models on the way is none of all.
    const auto decide_plain = [this](const Model& plain) { return decide(plain, nullptr); };
    return decide_with_logic(model, decide_plain) == Feasibility::kInfeasible;
  }

  // Of a model without sets and conditions. The parts may be none.
  PlainAnswer decide(const Model& model, std::vector<Part>* parts) {
    PlainAnswer answer;
    if (is_over()) return answer;
    ++solves_;
    if (find_crossed_bounds(model).found()) return {Feasibility::kInfeasible, {}};
    const SolvePlan plan = choose_backend(model, parameters_);
    const MinimizeProblem problem(model);
    BackendResult found;
    SilentMonitor silent(monitor_, progress_);
    const Status status =
        plan.backend->solve(problem, parameters_, end_ - monotonic_seconds(), &silent, &found);
    iterations_ += std::max<int64_t>(0, found.progress.simplex_iterations) +
                   std::max<int64_t>(0, found.progress.interior_iterations);
    if (status.ok() && found.outcome == Outcome::kOptimal) {
      return {Feasibility::kFeasible, std::move(found.x)};
    }
    const bool proves = status.ok() && found.outcome == Outcome::kInfeasible &&
                        (plan.solution == SolutionKind::kInteger ||
                         check_answer(problem, plan.solution, &found).ray_holds);
    if (!proves) {
      has_doubt_ = true;
      return answer;
    }
    const bool has_ray = trusts_certificates_ && found.certificate == Certificate::kDualRay;
    if (parts != nullptr && has_ray) keep_needed(found, parts);
    return {Feasibility::kInfeasible, {}};
  }

  bool keep_crossed(const Model& model, std::vector<Part>* parts) const {
    const CrossedBounds crossed = find_crossed_bounds(model);
    const size_t place = crossed.con >= 0 ? index(crossed.con) : num_con_ + index(crossed.var);
    std::erase_if(*parts, [place](const Part& part) { return part.place != place; });
    std::erase_if(*parts, [](const Part& part) { return part.marks == Conflict::kIntegrality; });
    return true;
  }

  // Multipliers that are less than nothing beside the largest are rounding: a further solve shows
  // that the rest does without them.
  void keep_needed(const BackendResult& ray, std::vector<Part>* parts) {
    double most = 0.0;
    for (const double y : ray.y) most = std::max(most, std::fabs(y));
    for (const double d : ray.d) most = std::max(most, std::fabs(d));
    const double least = kNothing * most;
    std::vector<Part> needed = *parts;
    std::erase_if(needed, [&](const Part& part) { return !is_needed(ray, part, least); });
    if (needed.size() < parts->size()) *parts = std::move(needed);
  }

  bool is_needed(const BackendResult& ray, const Part& part, double least) const {
    if (part.marks == Conflict::kIntegrality) return false;
    if (part.place >= num_con_ + num_var_) return cone_is_needed(ray, part.place, least);
    const bool is_con = part.place < num_con_;
    if (!is_con && is_semi(model_.var_kind[part.place - num_con_])) return true;
    const double multiplier = is_con ? ray.y[part.place] : ray.d[part.place - num_con_];
    if (part.marks == Conflict::kLower) return multiplier > least;
    if (part.marks == Conflict::kUpper) return multiplier < -least;
    return std::fabs(multiplier) > least;
  }

  bool cone_is_needed(const BackendResult& ray, size_t place, double least) const {
    const Cone& cone = model_.cones[place - num_con_ - num_var_];
    return std::any_of(cone.vars.begin(), cone.vars.end(), [&](int32_t var) {
      return ray.snx.empty() || std::fabs(ray.snx[index(var)]) > least;
    });
  }

  const Model& model_;
  Parameters parameters_;
  double end_;
  Progress progress_;
  BackendMonitor* monitor_;
  size_t num_con_, num_var_;
  std::vector<Part> parts_;
  std::vector<Part> proved_;  // the last ones that a solve found to contradict each other
  bool is_verified_ = false;  // the parts contradict each other
  bool trusts_certificates_ = true;
  int most_solves_ = kIntMax;
  int solves_ = 0;
  int64_t most_iterations_ = std::numeric_limits<int64_t>::max();
  int64_t iterations_ = 0;
  bool has_doubt_ = false;
};

// The reason of a model that was quickly found infeasible is quickly found, too.
bool is_short(const Model& model, const Answer& answer) {
  return static_cast<int64_t>(list_parts(model).size()) <= kMostPartsUnasked &&
         answer.result.progress.nodes <= kMostNodesUnasked;
}

// A ray of the simplex method explains itself. One of an interior-point method has multipliers
// wherever it may have some, and a mixed-integer model has none at all.
bool is_worth_it(const MinimizeProblem& problem, const SolvePlan& plan, const Answer& answer) {
  if (answer.result.certificate == Certificate::kCrossedBounds) return true;
  if (plan.solution == SolutionKind::kBasic && answer.verdict.ray_holds) return false;
  return is_short(problem.model, answer);
}

}  // namespace

void find_conflict(const MinimizeProblem& problem, const SolvePlan& plan,
                   const Parameters& parameters, double seconds, BackendMonitor* monitor,
                   Answer* answer) {
  const Model& model = problem.model;
  if (answer->result.outcome != Outcome::kInfeasible) return;
  const bool is_asked = !parameters.get(StringParam::kConflictFile).empty();
  if (!is_asked && !is_worth_it(problem, plan, *answer)) return;
  Filter filter(model, parameters, seconds, answer->result.progress, monitor);
  const Progress& before = answer->result.progress;
  const int64_t iterations = std::max<int64_t>(0, before.simplex_iterations) +
                             std::max<int64_t>(0, before.interior_iterations);
  if (!is_asked) {
    filter.limit(kMostSolvesUnasked, kMostIterationsUnasked + kTimesOfTheSolve * iterations);
  }
  if (!filter.start()) return;
  filter.run();
  const Conflict conflict = filter.conflict();
  // A search that ended early may leave most of the model, which is no reason.
  const bool explains =
      is_asked || conflict.is_minimal || filter.num_parts() <= kMostPartsOfAReason;
  if (explains) answer->conflict = conflict;
  if (filter.solves() > 1) {
    monitor->log(format_text("Looked for the parts that contradict each other: %s\n",
                             counted(filter.solves(), "solve").c_str()));
  }
}

namespace {

// Variables that are in a marked constraint, cone or set, or have marks of their own.
std::vector<bool> find_variables(const Model& model, const Conflict& conflict) {
  const size_t num_con = model.con_lower.size();
  const size_t num_var = model.cost.size();
  std::vector<bool> used(num_var, false);
  for (size_t j = 0; j < num_var; ++j) {
    used[j] = conflict.marks[num_con + j] != 0;
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      used[j] = used[j] || conflict.marks[index(model.matrix.row[k])] != 0;
    }
  }
  for (const ConQuadraticEntry& e : model.quadratic_coefficients) {
    if (conflict.marks[index(e.con)] == 0) continue;
    used[index(e.entry.row)] = used[index(e.entry.col)] = true;
  }
  for (size_t k = 0; k < model.cones.size(); ++k) {
    if (conflict.marks[num_con + num_var + k] == 0) continue;
    for (const int32_t var : model.cones[k].vars) used[index(var)] = true;
  }
  for (size_t k = 0; k < model.sets.size(); ++k) {
    if (conflict.marks[num_con + num_var + model.cones.size() + k] == 0) continue;
    for (const int32_t var : model.sets[k].vars) used[index(var)] = true;
  }
  for (const Indicator& indicator : model.indicators) {
    if (conflict.marks[index(indicator.con)] != 0) used[index(indicator.binary)] = true;
  }
  return used;
}

// The new numbers of what stays, -1 for the rest.
std::vector<int32_t> renumber(const std::vector<bool>& stays) {
  std::vector<int32_t> numbers(stays.size(), -1);
  int32_t next = 0;
  for (size_t i = 0; i < stays.size(); ++i) {
    if (stays[i]) numbers[i] = next++;
  }
  return numbers;
}

template <class Value>
std::vector<Value> keep(const std::vector<Value>& values, const std::vector<int32_t>& numbers) {
  std::vector<Value> kept;
  for (size_t i = 0; i < values.size(); ++i) {
    if (numbers[i] >= 0) kept.push_back(values[i]);
  }
  return kept;
}

NameList keep_names(const NameList& names, const std::vector<int32_t>& numbers) {
  NameList kept;
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] >= 0) kept.add(names[i]);
  }
  return kept;
}

SparseMatrix keep_matrix(const SparseMatrix& matrix, const std::vector<int32_t>& vars,
                         const std::vector<int32_t>& cons) {
  SparseMatrix kept;
  for (size_t j = 0; j < vars.size(); ++j) {
    if (vars[j] < 0) continue;
    for (size_t k = index(matrix.start[j]); k < index(matrix.start[j + 1]); ++k) {
      const int32_t row = cons[index(matrix.row[k])];
      if (row < 0) continue;
      kept.row.push_back(row);
      kept.value.push_back(matrix.value[k]);
    }
    kept.start.push_back(static_cast<int64_t>(kept.row.size()));
  }
  return kept;
}

}  // namespace

Model model_of_conflict(const Model& model, const Conflict& conflict) {
  Model part = reduced(model, conflict.marks);
  const size_t num_con = model.con_lower.size();
  std::vector<bool> marked(num_con);
  for (size_t i = 0; i < num_con; ++i) marked[i] = conflict.marks[i] != 0;
  const std::vector<int32_t> cons = renumber(marked);
  const std::vector<int32_t> vars = renumber(find_variables(model, conflict));
  part.con_lower = keep(part.con_lower, cons);
  part.con_upper = keep(part.con_upper, cons);
  part.con_names = keep_names(model.con_names, cons);
  part.cost = keep(part.cost, vars);
  part.var_lower = keep(part.var_lower, vars);
  part.var_upper = keep(part.var_upper, vars);
  part.var_kind = keep(part.var_kind, vars);
  part.var_names = keep_names(model.var_names, vars);
  part.matrix = keep_matrix(model.matrix, vars, cons);
  for (ConQuadraticEntry& e : part.quadratic_coefficients) {
    e.con = cons[index(e.con)];
    e.entry.row = vars[index(e.entry.row)];
    e.entry.col = vars[index(e.entry.col)];
  }
  for (Cone& cone : part.cones) {
    for (int32_t& var : cone.vars) var = vars[index(var)];
  }
  for (OrderedSet& set : part.sets) {
    for (int32_t& var : set.vars) var = vars[index(var)];
  }
  for (Indicator& indicator : part.indicators) {
    indicator.con = cons[index(indicator.con)];
    indicator.binary = vars[index(indicator.binary)];
  }
  std::erase_if(part.matrix_coefficients,
                [&](const MatrixCoefficient& e) { return cons[index(e.con)] < 0; });
  for (MatrixCoefficient& e : part.matrix_coefficients) e.con = cons[index(e.con)];
  return part;
}

}  // namespace vorlan
