// The cuts of the relaxation. Each is a supporting hyperplane of a convex part of the model, so
// that no point of the model violates it.
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

#include "solve/check/cone_violation.h"
#include "solve/check/vectors.h"
#include "solve/outer/bound_propagation.h"
#include "solve/outer/relaxation.h"
#include "task/packed_matrices.h"

namespace vorlan::outer {
namespace {

// A part of the model that a point violates by no more than this, relative to its size, is not cut.
constexpr double kSatisfied = 1e-9;
// Coefficients smaller than this, relative to the largest of their cut, are taken out of it.
constexpr double kTinyCoefficient = 1e-8;
// The steepest slope of a tangent. In steeper ones the largest coefficient leaves nothing of the
// others.
constexpr double kSteepest = 1e5;
// The least share by which a switched variable counts as on.
constexpr double kLeastShare = 1e-4;
// How far the quotient of the heads of a rotated cone may be from 1 in a cut of their product.
constexpr double kLeastRatio = 1e-12;
constexpr double kMostRatio = 1e12;
// A head counts as no smaller than this share of what the norm needs beside the other one.
constexpr double kSmallHead = 1e-3;
// Eigenvectors whose eigenvalue is smaller than this, relative to the largest, give no cut.
constexpr double kNoEigenvalue = 1e-8;

// The least and the largest value of a member within bounds.
std::pair<double, double> range_of(const Member& member, const BoundPropagation& bounds) {
  const double one = member.scale * bounds.lower(member.var);
  const double other = member.scale * bounds.upper(member.var);
  return std::minmax(one, other);
}

// A number rounded so that it is equal in two equal cuts.
int64_t key_of(double value) {
  constexpr double kDigits = 1e9;
  constexpr double kMost = 9e18;
  return static_cast<int64_t>(std::clamp(std::round(kDigits * value), -kMost, kMost));
}

std::vector<int64_t> key_of(double rhs, const Terms& terms) {
  std::vector<int64_t> key = {key_of(rhs)};
  for (const auto& [column, value] : terms) {
    key.push_back(column);
    key.push_back(key_of(value));
  }
  return key;
}

}  // namespace

// Replaces a term a x of a cut, with a tiny a, by one that is no smaller at any x within the bounds,
// so that the cut gets no stronger: by the largest value of the term where that is finite, else by
// a larger coefficient that starts from the finite bound. False where x has no finite bound.
bool Relaxation::weaken(int32_t column, double* a, double* constant) const {
  const auto j = index(column);
  const bool semi = is_semi(frame_.var_kind[j]);
  const double lower = semi ? std::min(0.0, frame_.var_lower[j]) : frame_.var_lower[j];
  const double upper = semi ? std::max(0.0, frame_.var_upper[j]) : frame_.var_upper[j];
  const double near = *a > 0.0 ? lower : upper;
  const double far = *a > 0.0 ? upper : lower;
  if (std::isfinite(far)) {
    *constant = *a * far;
    *a = 0.0;
    return true;
  }
  const double larger = std::copysign(kTinyCoefficient, *a);
  *constant = -(larger - *a) * near;
  *a = larger;
  return std::isfinite(near);
}

// HiGHS drops tiny coefficients silently, which would make the cut another one.
int Relaxation::add_cut(const Terms& terms, double rhs) {
  constexpr double kOutward = 1e-15;
  double scale = 0.0;
  for (const auto& [column, value] : terms) scale = std::max(scale, std::fabs(value));
  if (scale == 0.0 || !std::isfinite(scale) || !std::isfinite(rhs)) return 0;
  rhs /= scale;
  double size = std::fabs(rhs);
  Terms kept;
  for (const auto& [column, value] : terms) {
    double scaled = value / scale;
    if (scaled == 0.0) continue;
    double constant = 0.0;
    const bool tiny = std::fabs(scaled) < kTinyCoefficient;
    if (tiny && !weaken(column, &scaled, &constant)) return 0;
    rhs -= constant;
    size = std::max(size, std::fabs(constant));
    if (scaled != 0.0) kept.emplace_back(column, scaled);
  }
  rhs -= kOutward * size;
  if (!known_cuts_.insert(key_of(rhs, kept)).second) return 0;
  add_row(rhs, kInfinity, std::move(kept));
  ++num_cuts_;
  return 1;
}

int Relaxation::add_lifted_cut(Terms terms, double rhs, double room, const Switch& off) {
  if (!off.exists() || !(room > 0.0) || !std::isfinite(room)) return add_cut(terms, rhs);
  terms.emplace_back(off.binary, off.off_at_one ? -room : room);
  return add_cut(terms, off.off_at_one ? rhs : rhs + room);
}

// Where x is on by a share z, and 0 while it is off, the square is x^2 / z. Its tangents are those
// at x / z.
double Relaxation::touching_point(const Square& square, const std::vector<double>& columns) const {
  const size_t j = index(square.column);
  const double x = columns[j];
  const double way = x - square.off.value;
  if (!square.off.exists() || way == 0.0) return x;
  const double share = std::clamp(square.off.share(columns), kLeastShare, 1.0);
  return std::clamp(square.off.value + way / share, std::min(x, frame_.var_lower[j]),
                    std::max(x, frame_.var_upper[j]));
}

// The square of an integer variable x is no less than its chord between two neighbours:
// x^2 >= (2 k + 1) x - k (k + 1).
int Relaxation::cut_square(const Square& square, double x) {
  const double factor = 0.5 * square.scale * square.scale;
  const auto cut = [&](double slope, double drop) {
    const double off = square.off.value;
    const double room = factor * (off * off - slope * off + drop);
    return add_lifted_cut({{square.r, 1.0}, {square.column, -factor * slope}}, -factor * drop, room,
                          square.off);
  };
  if (!square.integer) return x == 0.0 ? 0 : cut(2.0 * x, x * x);
  constexpr double kNear = 1e-5;
  int added = 0;
  for (double k = std::floor(x - kNear); k <= x + kNear; k += 1.0) {
    added += cut(2.0 * k + 1.0, k * (k + 1.0));
  }
  return added;
}

double Relaxation::head_floor(const ConeColumns& columns, int32_t head, const Switch& off) const {
  if (head >= model_.num_var()) return 0.0;
  const Switch& own = switches_[index(head)];
  const bool together = own.exists() && off.exists() && own.same_as(off);
  return std::max(columns.head_floor, together ? own.value : 0.0);
}

// The cut is r >= slope x - slope^2 / 2 head. While x is off, at v, its slack is v^2 / (2 head) -
// slope v + slope^2 / 2 head, which is least where head is as near to |v / slope| as it can be.
int Relaxation::cut_member(const ConeColumns& columns, int32_t head, size_t k, int32_t var,
                           double slope) {
  if (slope == 0.0) return 0;
  if (columns.fixed_head > 0.0) {
    return cut_square(squares_[columns.first_square + k], slope * columns.fixed_head);
  }
  const Switch& off = switches_[index(var)];
  const double least = std::max(head_floor(columns, head, off), std::fabs(off.value / slope));
  const double rest = least > 0.0 ? 0.5 * off.value / least * off.value : 0.0;
  const double room = rest - slope * off.value + 0.5 * slope * slope * least;
  return add_lifted_cut({{columns.r[k], 1.0}, {var, -slope}, {head, 0.5 * slope * slope}}, 0.0,
                        room, off);
}

int Relaxation::cut_norm(const ConeColumns& columns, int32_t head, double head_value,
                         const std::vector<Member>& tail, const double* values) {
  int added = 0;
  for (size_t k = 0; k < tail.size(); ++k) {
    const bool steep = head_value <= std::fabs(values[k]) / kSteepest;
    const double slope = steep ? std::copysign(kSteepest, values[k]) : values[k] / head_value;
    if (values[k] == 0.0) continue;
    added += cut_member(columns, head, k, tail[k].var, slope);
  }
  return added;
}

// Cuts of members that a binary variable switches off at 0. Where such a member is on by a share z,
// r is at least x^2 / (2 h), with h the head without the part that it has while x is off.
int Relaxation::separate_members(size_t c, const std::vector<double>& columns, double share) {
  const ConeColumns& own = cone_columns_[c];
  if (own.r.empty() || own.norm >= 0 || own.fixed_head > 0.0) return 0;
  const CanonicalCone& cone = cones_[c];
  const int32_t head = cone.members[own.head].var;
  const size_t heads = cone.members.size() - own.r.size();
  int added = 0;
  for (size_t k = 0; k < own.r.size(); ++k) {
    const int32_t var = cone.members[heads + k].var;
    const Switch& off = switches_[index(var)];
    const double floor = head_floor(own, head, off);
    if (!off.exists() || off.value != 0.0 || floor <= 0.0) continue;
    const double x = columns[index(var)];
    const double rest = columns[index(head)] - floor * (1.0 - off.share(columns));
    const double slope = x / std::max(rest, kLeastShare * floor);
    const double least = slope * x - 0.5 * slope * slope * rest;
    const double missing = least - columns[index(own.r[k])];
    if (missing <= std::max(kSatisfied * std::max(1.0, least), share * least)) continue;
    added += cut_member(own, head, k, var, slope);
  }
  return added;
}

// The cone's head, or what the root of 2 x0 x1 is at most: (s x0 + x1 / s) / root of 2, which is least
// where s^2 is x1 / x0. Heads that are too small for the norm count as larger ones, so that the sum
// stays below the norm where one of them is 0.
Terms Relaxation::head_terms(const CanonicalCone& cone, double norm,
                             const std::vector<double>& columns) const {
  const Member& first = cone.members[0];
  if (cone.kind == ConeKind::kQuadratic) return {{first.var, first.scale}};
  const Member& second = cone.members[1];
  const double values[] = {first.scale * columns[index(first.var)],
                           second.scale * columns[index(second.var)]};
  const auto raised = [&](size_t k) {
    return std::max({values[k], kSmallHead * norm * norm / std::max(values[1 - k], norm), 1e-300});
  };
  const double ratio = std::clamp(raised(1) / raised(0), kLeastRatio, kMostRatio);
  const double factor = std::sqrt(0.5 * ratio);
  return {{first.var, factor * first.scale}, {second.var, 0.5 / factor * second.scale}};
}

int Relaxation::cut_binary_norm(size_t k, const std::vector<double>& columns, bool if_violated) {
  const auto& [c, norm] = binary_norms_[k];
  const AffineBound plane = highest_plane(norm, columns);
  double least = plane.constant;
  for (const auto& [var, value] : plane.terms) least += value * columns[index(var)];
  Terms terms = head_terms(cones_[c], least, columns);
  double slack = -least;
  for (const auto& [var, value] : terms) slack += value * columns[index(var)];
  if (if_violated && slack >= -kSatisfied * std::max(1.0, least)) return 0;
  for (const auto& [var, value] : plane.terms) {
    const auto is_same = [v = var](const auto& term) { return term.first == v; };
    const auto same = std::find_if(terms.begin(), terms.end(), is_same);
    if (same == terms.end()) {
      terms.emplace_back(var, -value);
    } else {
      same->second -= value;
    }
  }
  return add_cut(terms, plane.constant);
}

int Relaxation::separate_binary_norms(const std::vector<double>& columns) {
  int added = 0;
  for (size_t k = 0; k < binary_norms_.size(); ++k) added += cut_binary_norm(k, columns, true);
  return added;
}

bool Relaxation::has_switched_parts() const {
  return !heads_to_bound().empty() || !binary_norms_.empty() ||
         std::any_of(squares_.begin(), squares_.end(),
                     [](const Square& square) { return square.off.exists(); }) ||
         std::any_of(cone_columns_.begin(), cone_columns_.end(),
                     [](const ConeColumns& columns) { return columns.off.exists(); });
}

std::vector<int32_t> Relaxation::heads_to_bound() const {
  std::vector<int32_t> heads;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeColumns& own = cone_columns_[c];
    if (own.r.empty() || own.norm >= 0 || own.fixed_head > 0.0) continue;
    const auto& members = cones_[c].members;
    const bool switched =
        std::any_of(members.end() - static_cast<ptrdiff_t>(own.r.size()), members.end(),
                    [&](const Member& member) { return switches_[index(member.var)].exists(); });
    if (switched) heads.push_back(members[own.head].var);
  }
  return heads;
}

void Relaxation::raise_head_floor(int32_t head, double floor) {
  for (size_t c = 0; c < cones_.size(); ++c) {
    ConeColumns& own = cone_columns_[c];
    const bool has_head = !own.r.empty() && own.norm < 0 && cones_[c].members[own.head].var == head;
    if (has_head) own.head_floor = std::max(own.head_floor, floor);
  }
}

// The plane is least where the last member, or the norm, is as large as the heads let it be.
double Relaxation::room_of_plane(const CanonicalCone& cone, const ConeColumns& columns,
                                 const Hyperplane& plane) const {
  const std::vector<double>& heads = columns.off_heads;
  if (!columns.off.exists()) return 0.0;
  if (*std::min_element(heads.begin(), heads.end()) < 0.0) return 0.0;
  double sum = 0.0;
  for (size_t k = 0; k < heads.size(); ++k) sum += plane[k] * heads[k];
  return sum + plane.back() * largest_last(cone, heads);
}

int Relaxation::cut_plane(const CanonicalCone& cone, const ConeColumns& columns,
                          const Hyperplane& plane, int32_t last_column, double last_sign) {
  if (plane.empty()) return 0;
  Terms terms;
  const bool has_last = last_column >= 0;
  for (size_t k = 0; k + (has_last ? 1 : 0) < plane.size(); ++k) {
    terms.emplace_back(cone.members[k].var, cone.members[k].scale * plane[k]);
  }
  if (has_last) terms.emplace_back(last_column, last_sign * plane.back());
  return add_lifted_cut(std::move(terms), 0.0, room_of_plane(cone, columns, plane), columns.off);
}

// The point is on the cone's boundary.
int Relaxation::cut_cone(size_t c, const std::vector<double>& point) {
  const CanonicalCone& cone = cones_[c];
  const ConeColumns& columns = cone_columns_[c];
  const size_t heads = std::min(cone.num_heads(), point.size());
  if (cone.kind == ConeKind::kExponential) {
    return cut_plane(cone, columns, support_exponential(point), -1, 0.0);
  }
  const std::vector<Member> tail(cone.members.begin() + static_cast<ptrdiff_t>(heads),
                                 cone.members.end());
  int added = 0;
  int32_t head = cone.members[columns.head].var;
  double head_value = point[columns.head];
  if (cone.kind == ConeKind::kPower && !tail.empty()) {
    const double sign = point[heads] < 0.0 ? -1.0 : 1.0;
    const int32_t last = columns.norm >= 0 ? columns.norm : tail[0].var;
    added +=
        cut_plane(cone, columns, support_power(cone, point), last, columns.norm >= 0 ? 1.0 : sign);
    head = columns.norm;
    head_value = 0.0;
    for (size_t k = heads; k < point.size(); ++k) head_value = std::hypot(head_value, point[k]);
  }
  if (columns.r.empty()) return added;
  return added + cut_norm(columns, head, head_value, tail, point.data() + heads);
}

int Relaxation::cut_by_vector(size_t first_column, const double* vector, size_t dimension) {
  Terms terms;
  for (size_t col = 0; col < dimension; ++col) {
    for (size_t row = col; row < dimension; ++row) {
      const double value = (row == col ? 1.0 : 2.0) * vector[row] * vector[col];
      terms.emplace_back(static_cast<int32_t>(first_column + packed_place(dimension, row, col)),
                         value);
    }
  }
  return add_cut(terms, 0.0);
}

// v'Xv >= 0 for the eigenvectors of packed matrices whose eigenvalues have the given sign.
int Relaxation::cut_matrices(const std::vector<double>& packed, double sign) {
  int added = 0;
  if (packed.size() != packed_starts_.back()) return 0;
  for (size_t m = 0; m < model_.matrix_vars.size(); ++m) {
    const auto n = index(model_.matrix_vars[m].dimension);
    Eigen::MatrixXd matrix(model_.matrix_vars[m].dimension, model_.matrix_vars[m].dimension);
    for (size_t col = 0; col < n; ++col) {
      for (size_t row = col; row < n; ++row) {
        const double value = packed[packed_starts_[m] + packed_place(n, row, col)];
        matrix(static_cast<int>(row), static_cast<int>(col)) = value;
        matrix(static_cast<int>(col), static_cast<int>(row)) = value;
      }
    }
    if (!matrix.allFinite()) continue;
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(matrix);
    const double least = kNoEigenvalue * std::max(1e-6, solver.eigenvalues().cwiseAbs().maxCoeff());
    for (Eigen::Index k = 0; k < matrix.rows(); ++k) {
      if (sign * solver.eigenvalues()[k] <= least) continue;
      const Eigen::VectorXd vector = solver.eigenvectors().col(k);
      added += cut_by_vector(first_element_ + packed_starts_[m], vector.data(), n);
    }
  }
  return added;
}

int Relaxation::cut_by_duals(const BackendResult& result) {
  int added = cut_matrices(result.bars, 1.0);
  if (result.snx.size() != model_.cost.size()) return added;
  for (size_t c = 0; c < cones_.size(); ++c) {
    const std::vector<double> point =
        find_complement(cones_[c], member_duals(cones_[c], result.snx));
    if (!point.empty()) added += cut_cone(c, point);
  }
  return added;
}

int Relaxation::cut_by_curvature(const std::vector<double>& x) {
  std::vector<double> columns = x;
  columns.resize(frame_.cost.size(), 0.0);
  for (const auto& [column, row] : products_) {
    for (const auto& [var, value] : row) columns[index(column)] += value * x[index(var)];
  }
  int added = 0;
  for (const Square& square : squares_) {
    added += cut_square(square, touching_point(square, columns));
  }
  for (size_t k = 0; k < binary_norms_.size(); ++k) added += cut_binary_norm(k, columns, false);
  return added;
}

int Relaxation::cut_cone_at(size_t cone, const std::vector<double>& x) {
  return cut_cone(cone, pull_to_boundary(cones_[cone], member_values(cones_[cone], x)));
}

int Relaxation::cut_along_exponentials() {
  const bool has_any = std::any_of(cones_.begin(), cones_.end(), [](const CanonicalCone& cone) {
    return cone.kind == ConeKind::kExponential;
  });
  if (!has_any) return 0;
  const Model linear = make_model();
  BoundPropagation bounds(linear);
  if (!bounds.tighten_all()) return 0;
  int added = 0;
  for (size_t c = 0; c < cones_.size(); ++c) added += cut_along_exponential(c, bounds);
  return added;
}

// The tangents are evenly spaced over the logarithms that the bounds allow. A wide range is cut
// where the exponential is large: further down it hardly differs from 0.
int Relaxation::cut_along_exponential(size_t c, const BoundPropagation& bounds) {
  constexpr int kTangents = 8;
  constexpr double kWidest = 8.0;
  const CanonicalCone& cone = cones_[c];
  if (cone.kind != ConeKind::kExponential) return 0;
  const double second = cone.members[1].scale * fixed_value(model_, view_, cone.members[1].var);
  if (!(second > 0.0)) return 0;
  const auto [head_least, head_most] = range_of(cone.members[0], bounds);
  const auto [last_least, last_most] = range_of(cone.members[2], bounds);
  const double most = std::min(last_most / second, std::log(head_most / second));
  const double lowest = head_least > 0.0 ? std::log(head_least / second) : -kInfinity;
  const double least = std::max({last_least / second, lowest, most - kWidest});
  if (!(least < most) || most > std::log(kSteepest)) return 0;
  int added = 0;
  for (int k = 0; k < kTangents; ++k) {
    const double ratio = least + (most - least) * (k + 0.5) / kTangents;
    added += cut_cone(c, {second * std::exp(ratio), second, second * ratio});
  }
  return added;
}

// Cuts off rays as well as points, since a multiple of a point of a cone is in the cone, too.
int Relaxation::separate_cones(const std::vector<double>& columns) {
  int added = cut_matrices(matrix_elements(columns), -1.0);
  for (size_t c = 0; c < cones_.size(); ++c) {
    if (cone_violation(model_.cones[c], columns) > kSatisfied) added += cut_cone_at(c, columns);
  }
  return added;
}

// Cuts the members of a norm one by one, each where it is violated by more than the share.
int Relaxation::separate_norm(size_t c, const std::vector<double>& columns, double share) {
  const ConeColumns& own = cone_columns_[c];
  const CanonicalCone& cone = cones_[c];
  const int32_t head = cone.members[own.head].var;
  const size_t heads = cone.members.size() - own.r.size();
  const double head_value = columns[index(head)];
  int added = 0;
  for (size_t k = 0; k < own.r.size(); ++k) {
    const int32_t var = cone.members[heads + k].var;
    const double x = columns[index(var)];
    const double least = 0.5 * x / head_value * x;
    const double missing = least - columns[index(own.r[k])];
    if (missing <= std::max(kSatisfied, share * least)) continue;
    if (head_value <= std::fabs(x) / kSteepest) continue;
    added += cut_member(own, head, k, var, x / head_value);
  }
  return added;
}

int Relaxation::separate_worst(const std::vector<double>& columns, double share) {
  int added = cut_matrices(matrix_elements(columns), -1.0);
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeColumns& own = cone_columns_[c];
    if (own.fixed_head > 0.0) continue;  // its members are squares
    const bool by_member = !own.r.empty() && own.norm < 0;
    if (by_member && columns[index(cones_[c].members[own.head].var)] > 0.0) {
      added += separate_norm(c, columns, share) + separate_members(c, columns, share);
    } else if (cone_violation(model_.cones[c], columns) > kSatisfied) {
      added += cut_cone_at(c, columns);
    }
  }
  return added + separate_binary_norms(columns) + separate_squares(columns, share);
}

size_t Relaxation::largest_norm() const {
  size_t largest = largest_form_;
  for (const ConeColumns& own : cone_columns_) largest = std::max(largest, own.r.size());
  return largest;
}

int Relaxation::drop_violated_cuts(const std::vector<double>& columns) {
  constexpr double kViolated = 1e-7;
  const auto is_violated = [&](const Row& row) {
    double sum = 0.0;
    double size = 1.0;
    for (const auto& [column, value] : row.terms) {
      sum += value * columns[index(column)];
      size = std::max(size, std::fabs(value * columns[index(column)]));
    }
    return row.lower - sum > kViolated * size;
  };
  const auto first = rows_.begin() + static_cast<ptrdiff_t>(first_cut_);
  const auto kept = std::remove_if(first, rows_.end(), is_violated);
  const auto dropped = static_cast<int>(rows_.end() - kept);
  rows_.erase(kept, rows_.end());
  num_cuts_ -= dropped;
  return dropped;
}

void Relaxation::drop_loose_cuts(size_t first_row, const std::vector<double>& columns) {
  constexpr double kLoose = 1e-6;
  const auto is_loose = [&](const Row& row) {
    double sum = 0.0;
    double size = 1.0;
    for (const auto& [column, value] : row.terms) {
      sum += value * columns[index(column)];
      size = std::max(size, std::fabs(value * columns[index(column)]));
    }
    return sum - row.lower > kLoose * size;
  };
  const auto first = rows_.begin() + static_cast<ptrdiff_t>(first_row);
  for (auto row = first; row != rows_.end(); ++row) {
    if (!is_loose(*row)) continue;
    known_cuts_.erase(key_of(row->lower, row->terms));
    --num_cuts_;
  }
  rows_.erase(std::remove_if(first, rows_.end(), is_loose), rows_.end());
}

int Relaxation::separate(const std::vector<double>& columns) {
  int added = separate_cones(columns);
  for (size_t c = 0; c < cones_.size(); ++c) added += separate_members(c, columns, 0.0);
  return added + separate_binary_norms(columns) + separate_squares(columns, 0.0);
}

int Relaxation::separate_squares(const std::vector<double>& columns, double least_share) {
  int added = 0;
  for (const Square& square : squares_) {
    const double touching = touching_point(square, columns);
    const double factor = 0.5 * square.scale * square.scale;
    const double share = square.off.exists() ? square.off.share(columns) : 1.0;
    const double x = columns[index(square.column)];
    const double away = touching - square.off.value;
    const double tangent = factor * (touching * (2.0 * x - touching) + away * away * (1.0 - share));
    const double missing = tangent - columns[index(square.r)];
    if (missing <= std::max(kSatisfied * std::max(1.0, tangent), least_share * tangent)) continue;
    added += cut_square(square, touching);
  }
  return added;
}

int Relaxation::cut_around(const std::vector<double>& columns) {
  int added = 0;
  for (const Square& square : squares_) {
    const double x = columns[index(square.column)];
    const double step = std::max(1.0, std::fabs(x));
    added += cut_square(square, x - step) + cut_square(square, x + step);
  }
  return added;
}

// Squares get tangents at points of several sizes along the ray, since they grow faster than any one
// slope.
int Relaxation::separate_ray(const std::vector<double>& direction) {
  constexpr double kSizes[] = {1.0, 100.0, 1e4};
  int added = separate_cones(direction);
  for (const Square& square : squares_) {
    const double step = direction[index(square.column)];
    if (std::fabs(step) <= kSatisfied) continue;
    for (const double size : kSizes) added += cut_square(square, std::copysign(size, step));
  }
  return added;
}

}  // namespace vorlan::outer
