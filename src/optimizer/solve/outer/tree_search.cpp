// The nodes of the tree. A node is settled when its linear model is infeasible or above the
// incumbent, or when all its integers are fixed and have been tried.
#include "solve/outer/tree_search.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "solve/outer/first_points.h"
#include "task/parameter_index.h"

namespace vorlan::outer {
namespace {

constexpr double kWhole = 1e-6;  // a value as near to an integer as this is one
// Rounds of cuts at the root and at other nodes, and the share of the gap that a round must win.
constexpr int kRootRounds = 40;
constexpr int kNodeRounds = 4;
constexpr double kLeastGain = 1e-3;
// The shares by which members of a norm may fall short there.
constexpr double kRootShare = 1e-4;
constexpr double kNodeShare = 1e-2;
constexpr int kMostWholePoints = 200;  // at one node
// Strong branching: so many variables at a node, and iterations for each direction, until both
// directions of a variable are known this often.
constexpr size_t kMostProbes = 8;
constexpr int32_t kProbeIterations = 50;
constexpr int kReliable = 6;
// The linear model is built anew, without its loose cuts, after so many new rows.
constexpr size_t kMostNewRows = 2000;

bool is_whole(double value) { return std::fabs(value - std::round(value)) <= kWhole; }

}  // namespace

double bound_to_stay_at(double x, double lower, double upper, double reduced_cost, double room) {
  if (reduced_cost > room && x <= lower + kWhole) return lower;
  if (-reduced_cost > room && x >= upper - kWhole) return upper;
  return std::numeric_limits<double>::quiet_NaN();
}

TreeSearch::TreeSearch(double objective_factor, InnerSolver* solver, OptimumBounds* bounds,
                       IntegerTrials* trials, Relaxation* relaxation, const Parameters& parameters)
    : objective_factor_(objective_factor),
      solver_(solver),
      bounds_(bounds),
      trials_(trials),
      relaxation_(relaxation),
      cuts_points_(parameters.is_on(IntParam::kMipCuts)) {
  const Model model = relaxation_->make_model();
  priorities_ = model.branching_priority;
  root_lower_ = model.var_lower;
  root_upper_ = model.var_upper;
  for (int32_t j = 0; j < model.num_var(); ++j) {
    if (model.var_kind[index(j)] == VarKind::kInteger) integers_.push_back(j);
  }
  costs_.resize(root_lower_.size());
}

bool TreeSearch::suits(const Model& model) {
  return std::none_of(model.var_kind.begin(), model.var_kind.end(),
                      [](VarKind kind) { return is_semi(kind); });
}

// Presolve and cuts for integers need rows of several integers.
bool TreeSearch::gains_by_rows(const Model& model) {
  constexpr int kFewRows = 2;
  constexpr int kFewIntegers = 20;
  std::vector<int> integers_in_row(model.con_lower.size(), 0);
  int num_integers = 0;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (!is_integer(model.var_kind[j])) continue;
    ++num_integers;
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      if (model.matrix.value[k] != 0.0) ++integers_in_row[index(model.matrix.row[k])];
    }
  }
  const auto several = std::count_if(integers_in_row.begin(), integers_in_row.end(),
                                     [](int count) { return count > 1; });
  return num_integers < kFewIntegers || several > kFewRows;
}

// Nodes above it cannot have a point that is better by more than a share of the gap asked for, or
// none that the caller wants.
double TreeSearch::cutoff() const {
  constexpr double kShare = 0.1;
  const double better = bounds_->incumbent() - kShare * bounds_->absolute_tolerance();
  return std::min(better, bounds_->above_cutoff());
}

// ---- The linear model -----------------------------------------------------------------------

void TreeSearch::build() {
  if (lp_ != nullptr) spent_ += lp_->iterations();
  Model model = relaxation_->make_model();
  model.var_lower = lower_ = root_lower_;
  model.var_upper = upper_ = root_upper_;
  lp_ = std::make_unique<DynamicLp>(model, objective_factor_);
  rows_in_lp_ = rows_at_build_ = relaxation_->num_rows();
  ++age_;
}

bool TreeSearch::pull_rows() {
  const size_t first = rows_in_lp_;
  for (; rows_in_lp_ < relaxation_->num_rows(); ++rows_in_lp_) {
    const Relaxation::Row& row = relaxation_->row(rows_in_lp_);
    lp_->add_row(row.lower, row.upper, row.terms);
  }
  return rows_in_lp_ > first;
}

void TreeSearch::enter(const Node& node) {
  std::vector<double> lower = root_lower_;
  std::vector<double> upper = root_upper_;
  for (const Change& change : node.path) {
    lower[index(change.var)] = std::max(lower[index(change.var)], change.lower);
    upper[index(change.var)] = std::min(upper[index(change.var)], change.upper);
  }
  for (const int32_t var : integers_) {
    const size_t j = index(var);
    if (lower[j] != lower_[j] || upper[j] != upper_[j]) lp_->set_bounds(var, lower[j], upper[j]);
  }
  lower_ = std::move(lower);
  upper_ = std::move(upper);
  if (node.basis_age == age_) lp_->use_basis(node.basis);
}

// ---- Nodes ----------------------------------------------------------------------------------

TreeSearch::Outcome TreeSearch::solve_node(Node* node, bool is_root) {
  for (const int32_t var : integers_) {
    if (lower_[index(var)] > upper_[index(var)]) return Outcome::kSettled;
  }
  pull_rows();
  int whole_points = 0;
  double last = -kInfinity;
  for (int round = 0;; ++round) {
    if (solver_->should_stop() || !trials_->failure().ok()) return Outcome::kStopped;
    const auto answer = lp_->solve(cutoff(), -1, solver_->seconds_left());
    if (answer == DynamicLp::Answer::kInfeasible || answer == DynamicLp::Answer::kCutOff) {
      return Outcome::kSettled;
    }
    if (answer != DynamicLp::Answer::kOptimal) {
      if (solver_->should_stop()) return Outcome::kStopped;
      unresolved_ = std::min(unresolved_, node->bound);
      return Outcome::kSettled;
    }
    const double objective = objective_ = lp_->objective();
    point_ = lp_->x();
    if (round == 0) learn(*node, objective);
    node->bound = std::max(node->bound, objective);
    if (node->bound >= cutoff()) return Outcome::kSettled;
    if (is_root) {
      raise_global_bound(node->bound);
      relaxation_->use_bound(bounds_->bound());
      root_objective_ = objective;
      root_x_ = point_;
      root_reduced_costs_.clear();
      for (const int32_t var : integers_) root_reduced_costs_.push_back(lp_->reduced_cost(var));
    }
    const bool whole = std::all_of(integers_.begin(), integers_.end(),
                                   [&](int32_t var) { return is_whole(point_[index(var)]); });
    if (whole) {
      bool again = false;
      const Outcome outcome = look_at_whole_point(node, &again);
      if (again && ++whole_points < kMostWholePoints) continue;
      return outcome;
    }
    const double size = std::max(1e-9, std::min(std::fabs(objective), bounds_->gap()));
    const bool gains = objective - last > kLeastGain * size;
    last = objective;
    if (!cuts_points_) break;
    if (round >= (is_root ? kRootRounds : kNodeRounds) || (round > 0 && !gains)) break;
    relaxation_->separate_worst(point_, is_root ? kRootShare : kNodeShare);
    if (!pull_rows()) break;
  }
  fix_below(node);
  return Outcome::kBranch;
}

// Tries the integers of the node's point. Their cuts may change the point. Where they do not, the
// node is settled if it has no other integers; else it is divided further.
TreeSearch::Outcome TreeSearch::look_at_whole_point(Node* node, bool* again) {
  trials_->try_integers(trials_->variables_of(point_));
  relaxation_->separate(point_);
  *again = pull_rows();
  if (node->bound >= cutoff()) {
    *again = false;
    return Outcome::kSettled;
  }
  if (choose_open() >= 0) return Outcome::kBranch;
  if (!*again) unresolved_ = std::min(unresolved_, node->bound);
  return Outcome::kSettled;
}

int32_t TreeSearch::choose_open() const {
  for (const int32_t var : integers_) {
    if (lower_[index(var)] < upper_[index(var)]) return var;
  }
  return -1;
}

void TreeSearch::branch(const Node& node) {
  const auto basis = lp_->basis();
  int32_t var = choose_variable(basis);
  if (var < 0) var = choose_open();
  const size_t j = index(var);
  double value = std::clamp(point_[j], lower_[j], upper_[j]);
  const bool whole = is_whole(value);
  // At a whole point the variable is divided beside its value.
  const double below = whole ? std::min(std::round(value), upper_[j] - 1.0) : std::floor(value);
  if (whole) value = std::round(value);
  Node down{node.bound, node.path, basis, age_, var, value - below, false};
  Node up = down;
  down.path.push_back({var, -kInfinity, below});
  up.path.push_back({var, below + 1.0, kInfinity});
  up.up = true;
  up.distance = below + 1.0 - value;
  if (value - below >= 0.5) std::swap(down, up);
  next_ = {std::move(down)};
  open_.push_back(std::move(up));
  std::push_heap(open_.begin(), open_.end(), has_larger_bound);
}

TreeSearch::Node TreeSearch::take_best() {
  std::pop_heap(open_.begin(), open_.end(), has_larger_bound);
  Node node = std::move(open_.back());
  open_.pop_back();
  return node;
}

// ---- Branching ------------------------------------------------------------------------------

void TreeSearch::learn(const Node& node, double objective) {
  if (node.branched < 0 || node.distance < kWhole) return;
  const double gain = std::max(0.0, objective - node.bound) / node.distance;
  const size_t side = node.up ? 1 : 0;
  for (PseudoCost* cost : {&costs_[index(node.branched)], &average_}) {
    cost->sum[side] += gain;
    ++cost->count[side];
  }
}

double TreeSearch::score(int32_t var, double x) const {
  const PseudoCost& own = costs_[index(var)];
  double product = 1.0;
  for (const size_t side : {0U, 1U}) {
    const PseudoCost& known = own.count[side] > 0 ? own : average_;
    const double mean = known.count[side] > 0 ? known.sum[side] / known.count[side] : 1.0;
    const double distance = side == 0 ? x - std::floor(x) : std::ceil(x) - x;
    product *= std::max(mean * distance, 1e-12);
  }
  return product;
}

// The rise of the objective when the variable is moved to one side.
double TreeSearch::probe(int32_t var, bool up, const DynamicLp::BasisHandle& basis) {
  const size_t j = index(var);
  const double x = point_[j];
  lp_->set_bounds(var, up ? std::ceil(x) : lower_[j], up ? upper_[j] : std::floor(x));
  lp_->use_basis(basis);
  const auto answer = lp_->solve(cutoff(), kProbeIterations, solver_->seconds_left());
  lp_->set_bounds(var, lower_[j], upper_[j]);
  const double most = std::isfinite(cutoff()) ? cutoff() - objective_ : std::fabs(objective_) + 1.0;
  if (answer == DynamicLp::Answer::kInfeasible || answer == DynamicLp::Answer::kCutOff) return most;
  if (answer == DynamicLp::Answer::kUnsolved) return 0.0;
  return std::clamp(lp_->objective() - objective_, 0.0, most);
}

// Makes the pseudocosts of a variable reliable, by probing both sides.
void TreeSearch::probe_both(int32_t var, const DynamicLp::BasisHandle& basis) {
  PseudoCost& own = costs_[index(var)];
  if (std::min(own.count[0], own.count[1]) >= kReliable || solver_->should_stop()) return;
  const double x = point_[index(var)];
  for (const size_t side : {0U, 1U}) {
    const double distance = side == 1 ? std::ceil(x) - x : x - std::floor(x);
    const double gain = probe(var, side == 1, basis) / distance;
    for (PseudoCost* cost : {&own, &average_}) {
      cost->sum[side] += gain;
      ++cost->count[side];
    }
  }
}

int32_t TreeSearch::priority(int32_t var) const {
  return index(var) < priorities_.size() ? priorities_[index(var)] : 0;
}

// One of the variables of the highest priority that are not whole; -1 where all are.
int32_t TreeSearch::choose_variable(const DynamicLp::BasisHandle& basis) {
  std::vector<std::pair<double, int32_t>> candidates;
  int32_t highest = 0;
  for (const int32_t var : integers_) {
    const double value = point_[index(var)];
    if (is_whole(value)) continue;
    if (candidates.empty() || priority(var) > highest) {
      candidates.clear();
      highest = priority(var);
    }
    if (priority(var) == highest) candidates.emplace_back(-score(var, value), var);
  }
  if (candidates.empty()) return -1;
  std::sort(candidates.begin(), candidates.end());
  candidates.resize(std::min(kMostProbes, candidates.size()));
  for (auto& [rank, var] : candidates) {
    probe_both(var, basis);
    rank = -score(var, point_[index(var)]);
  }
  return std::min_element(candidates.begin(), candidates.end())->second;
}

// ---- Bounds ---------------------------------------------------------------------------------

double TreeSearch::room_above(double objective) const {
  return cutoff() - objective + kCaution * std::max(1.0, std::fabs(cutoff()));
}

void TreeSearch::fix_by_reduced_costs() {
  if (!std::isfinite(cutoff()) || root_x_.empty()) return;
  const double room = room_above(root_objective_);
  for (size_t k = 0; k < integers_.size(); ++k) {
    const size_t j = index(integers_[k]);
    const double bound =
        bound_to_stay_at(root_x_[j], root_lower_[j], root_upper_[j], root_reduced_costs_[k], room);
    if (!std::isnan(bound)) root_lower_[j] = root_upper_[j] = bound;
  }
}

// The same for a node, whose linear model has just been solved, and for all nodes below it.
void TreeSearch::fix_below(Node* node) const {
  if (!std::isfinite(cutoff())) return;
  const double room = room_above(objective_);
  for (const int32_t var : integers_) {
    const size_t j = index(var);
    if (lower_[j] >= upper_[j]) continue;
    const double bound =
        bound_to_stay_at(point_[j], lower_[j], upper_[j], lp_->reduced_cost(var), room);
    if (!std::isnan(bound)) node->path.push_back({var, bound, bound});
  }
}

// The least bound of all nodes that are open, of those that could not be settled, and of what was
// cut off.
void TreeSearch::raise_global_bound(double now) {
  double bound = std::min({now, unresolved_, cutoff()});
  if (!open_.empty()) bound = std::min(bound, open_.front().bound);
  bounds_->raise_bound(bound);
}

void TreeSearch::try_first_points() {
  std::vector<std::vector<double>> points = first_points(relaxation_->make_model(), point_);
  for (std::vector<double>& point : points) point = trials_->variables_of(point);
  trials_->prepare(points);
  for (const std::vector<double>& point : points) {
    if (!trials_->failure().ok()) return;
    trials_->try_integers(point);
  }
}

TreeSearch::End TreeSearch::run(const std::function<bool()>& is_over) {
  first_cut_ = relaxation_->num_rows();
  build();
  Node node{-kInfinity, {}, nullptr};
  double last_incumbent = bounds_->incumbent();
  for (bool is_root = true;; is_root = false) {
    Outcome outcome = solve_node(&node, is_root);
    solver_->count_node(spent_ + lp_->iterations() - counted_, static_cast<int64_t>(open_.size()));
    counted_ = spent_ + lp_->iterations();
    if (outcome == Outcome::kStopped) return End::kStopped;
    if (is_root && outcome == Outcome::kBranch) {
      relaxation_->drop_loose_cuts(first_cut_, point_);
      try_first_points();
      build();
      outcome = solve_node(&node, false);
      if (outcome == Outcome::kStopped) return End::kStopped;
    }
    if (bounds_->incumbent() < last_incumbent) {
      last_incumbent = bounds_->incumbent();
      fix_by_reduced_costs();
    }
    next_.clear();
    if (outcome == Outcome::kBranch) branch(node);
    if (next_.empty() && open_.empty()) break;
    raise_global_bound(next_.empty() ? kInfinity : next_.front().bound);
    if (is_over()) return End::kStopped;
    const bool dives = !next_.empty();
    node = dives ? std::move(next_.front()) : take_best();
    if (!dives && rows_in_lp_ > rows_at_build_ + kMostNewRows) {
      relaxation_->drop_loose_cuts(first_cut_, point_);
      build();
    }
    enter(node);
  }
  if (unresolved_ < cutoff()) return End::kUnresolved;
  raise_global_bound(kInfinity);
  return End::kDone;
}

}  // namespace vorlan::outer
