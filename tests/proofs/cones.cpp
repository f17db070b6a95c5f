// Only is_member() has to be right for a proof to be one. What it does not confirm is not offered.
#include "cones.h"

#include <algorithm>

namespace proofs {
namespace {

enum class Shape { quadratic, rotated, exponential, dual_exponential, power };

Shape shape_of(const Cone& cone, Side side) {
  const bool dual = side == Side::dual;
  switch (cone.kind) {
    case ConeKind::quadratic:
      return Shape::quadratic;
    case ConeKind::rotated:
      return Shape::rotated;
    case ConeKind::exponential:
      return dual ? Shape::dual_exponential : Shape::exponential;
    case ConeKind::dual_exponential:
      return dual ? Shape::exponential : Shape::dual_exponential;
    default:
      return Shape::power;
  }
}

// Power cones are members of one shape once their heads are divided by these.
Point head_divisors(const Cone& cone, Side side, const Point& exponents) {
  const bool divided = (cone.kind == ConeKind::dual_power) == (side == Side::primal);
  return divided ? exponents : Point(exponents.size(), 1);
}

Point exponents_of(const Cone& cone) {
  Rational sum;
  for (const double w : cone.exponents) sum += Rational(w);
  Point exponents;
  for (const double w : cone.exponents) exponents.push_back(Rational(w) / sum);
  return exponents;
}

size_t num_heads(const Cone& cone, Shape shape) {
  switch (shape) {
    case Shape::quadratic:
      return 1;
    case Shape::rotated:
      return 2;
    default:
      return cone.exponents.size();
  }
}

Rational squares_from(const Point& point, size_t first) {
  Rational sum;
  for (size_t k = first; k < point.size(); ++k) sum += point[k] * point[k];
  return sum;
}

bool has_negative_head(const Point& point, size_t heads) {
  return std::any_of(point.begin(), point.begin() + static_cast<std::ptrdiff_t>(heads),
                     [](const Rational& head) { return head < 0; });
}

bool is_exponential_member(const Point& p) {
  if (p[1] == 0) return p[0] >= 0 && p[2] <= 0;
  if (p[1] < 0) return false;
  const Rational exponent = p[2] / p[1];
  return !is_huge_exponent(exponent) && p[0] >= p[1] * exp_above(exponent);
}

bool is_dual_exponential_member(const Point& p) {
  if (p[2] == 0) return p[0] >= 0 && p[1] >= 0;
  if (p[2] > 0) return false;
  const Rational exponent = p[1] / p[2] - 1;
  return !is_huge_exponent(exponent) && p[0] >= -p[2] * exp_above(exponent);
}

// The logarithm of |tail| / product of the powers of positive heads, from above.
Rational log_of_lack(const Point& p, const Point& exponents) {
  Rational lack = log_above(squares_from(p, exponents.size())) / 2;
  for (size_t k = 0; k < exponents.size(); ++k) lack -= exponents[k] * log_below(p[k]);
  return lack;
}

bool has_positive_heads(const Point& p, size_t heads) {
  return std::all_of(p.begin(), p.begin() + static_cast<std::ptrdiff_t>(heads),
                     [](const Rational& head) { return head > 0; });
}

bool is_power_member(const Point& p, const Point& exponents) {
  if (has_negative_head(p, exponents.size())) return false;
  if (squares_from(p, exponents.size()) == 0) return true;
  return has_positive_heads(p, exponents.size()) && log_of_lack(p, exponents) <= 0;
}

Point with_tail_times(Point p, size_t first, const Rational& factor) {
  for (size_t k = first; k < p.size(); ++k) p[k] *= factor;
  return p;
}

// ---- Candidates. Some of them may be no members. ------------------------------------------------

void add_quadratic(const Point& p, std::vector<Point>* candidates) {
  const Rational squares = squares_from(p, 1);
  Point raised = p;
  raised[0] = root_above(squares);
  candidates->push_back(raised);
  if (p[0] > 0 && squares > 0) {
    candidates->push_back(with_tail_times(p, 1, p[0] / root_above(squares)));
  }
}

void add_rotated(const Point& p, const Point& weights, std::vector<Point>* candidates) {
  const Rational half = squares_from(p, 2) / 2;
  for (const auto& [raised, other] : {std::pair{0, 1}, std::pair{1, 0}}) {
    if (p[static_cast<size_t>(other)] <= 0) continue;
    candidates->push_back(p);
    candidates->back()[static_cast<size_t>(raised)] = half / p[static_cast<size_t>(other)];
  }
  if (p[0] > 0 && p[1] > 0 && half > 0) {
    const Rational factor = root_above(half / (p[0] * p[1]));
    candidates->push_back(p);
    for (size_t k = 0; k < 2; ++k) candidates->back()[k] *= factor;
    candidates->push_back(with_tail_times(p, 2, 1 / factor));
  }
  Point balanced = p;
  balanced[0] += root_above(half * weights[1] / weights[0]);
  balanced[1] += root_above(half * weights[0] / weights[1]);
  candidates->push_back(balanced);
}

void add_exponential(const Point& p, std::vector<Point>* candidates) {
  candidates->push_back({std::max<Rational>(p[0], 0), 0, std::min<Rational>(p[2], 0)});
  if (p[1] <= 0) return;
  if (!is_huge_exponent(p[2] / p[1])) {
    candidates->push_back({p[1] * exp_above(p[2] / p[1]), p[1], p[2]});
  }
  if (p[0] > 0) candidates->push_back({p[0], p[1], p[1] * log_below(p[0] / p[1])});
}

void add_dual_exponential(const Point& p, std::vector<Point>* candidates) {
  candidates->push_back({std::max<Rational>(p[0], 0), std::max<Rational>(p[1], 0), 0});
  if (p[2] >= 0) return;
  const Rational exponent = p[1] / p[2] - 1;
  if (!is_huge_exponent(exponent)) {
    candidates->push_back({-p[2] * exp_above(exponent), p[1], p[2]});
  }
  if (p[0] > 0) candidates->push_back({p[0], p[2] * (1 + log_below(p[0] / -p[2])), p[2]});
}

// All heads by one factor, each by itself, the tail instead, and all heads by amounts of equal cost.
void add_power(const Point& p, const Point& exponents, const Point& weights,
               std::vector<Point>* candidates) {
  const size_t heads = exponents.size();
  if (squares_from(p, heads) == 0) return;
  if (has_positive_heads(p, heads)) {
    const Rational lack = log_of_lack(p, exponents);
    if (!is_huge_exponent(lack)) {
      const Rational factor = exp_above(lack);
      Point raised = p;
      for (size_t k = 0; k < heads; ++k) raised[k] *= factor;
      candidates->push_back(raised);
      candidates->push_back(with_tail_times(p, heads, 1 / factor));
    }
    for (size_t k = 0; k < heads; ++k) {
      if (is_huge_exponent(lack / exponents[k])) continue;
      candidates->push_back(p);
      candidates->back()[k] *= exp_above(lack / exponents[k]);
    }
  }
  Rational amount = log_above(squares_from(p, heads)) / 2;
  for (size_t k = 0; k < heads; ++k) amount += exponents[k] * log_above(weights[k]);
  if (is_huge_exponent(amount)) return;
  Point balanced = p;
  for (size_t k = 0; k < heads; ++k) balanced[k] += exp_above(amount) / weights[k];
  candidates->push_back(balanced);
}

void add_with_heads(const Cone& cone, Side side, Shape shape, Point point, Point weights,
                    std::vector<Point>* candidates) {
  const size_t heads = num_heads(cone, shape);
  for (size_t k = 0; k < heads; ++k) point[k] = std::max<Rational>(point[k], 0);
  candidates->push_back(point);
  candidates->push_back(with_tail_times(point, heads, 0));
  if (shape == Shape::quadratic) return add_quadratic(point, candidates);
  if (shape == Shape::rotated) return add_rotated(point, weights, candidates);
  const Point exponents = exponents_of(cone);
  const Point divisors = head_divisors(cone, side, exponents);
  for (size_t k = 0; k < heads; ++k) {
    point[k] /= divisors[k];
    weights[k] *= divisors[k];
  }
  const size_t first = candidates->size();
  add_power(point, exponents, weights, candidates);
  for (size_t c = first; c < candidates->size(); ++c) {
    for (size_t k = 0; k < heads; ++k) (*candidates)[c][k] *= divisors[k];
  }
}

}  // namespace

bool is_member(const Cone& cone, Side side, const Point& point) {
  const Shape shape = shape_of(cone, side);
  switch (shape) {
    case Shape::quadratic:
      return point[0] >= 0 && point[0] * point[0] >= squares_from(point, 1);
    case Shape::rotated:
      return !has_negative_head(point, 2) && 2 * point[0] * point[1] >= squares_from(point, 2);
    case Shape::exponential:
      return is_exponential_member(point);
    case Shape::dual_exponential:
      return is_dual_exponential_member(point);
    default:
      break;
  }
  const Point exponents = exponents_of(cone);
  const Point divisors = head_divisors(cone, side, exponents);
  Point divided = point;
  for (size_t k = 0; k < divisors.size(); ++k) divided[k] /= divisors[k];
  return is_power_member(divided, exponents);
}

std::vector<Point> members_near(const Cone& cone, Side side, const Point& point,
                                const Point& weights) {
  if (is_member(cone, side, point)) return {point};
  std::vector<Point> candidates;
  const Shape shape = shape_of(cone, side);
  if (shape == Shape::exponential) {
    add_exponential(point, &candidates);
  } else if (shape == Shape::dual_exponential) {
    add_dual_exponential(point, &candidates);
  } else {
    add_with_heads(cone, side, shape, point, weights, &candidates);
  }
  std::erase_if(candidates, [&](const Point& p) { return !is_member(cone, side, p); });
  return candidates;
}

}  // namespace proofs
