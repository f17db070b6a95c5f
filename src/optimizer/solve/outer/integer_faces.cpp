// The members' bounds come from the linear constraints and from the cone itself.
#include "solve/outer/integer_faces.h"

#include <algorithm>
#include <cmath>

#include "solve/outer/bound_propagation.h"

namespace vorlan::outer {
namespace {

// Above this bound, what tolerances leave of an integer variable at 0 is too much of the member.
constexpr double kMostBound = 1e5;

// The number of members that leave a face when one of them is 0.
size_t num_factors(const CanonicalCone& cone) {
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      return 0;
    case ConeKind::kExponential:
      return 2;
    default:
      return std::min(cone.num_heads(), cone.members.size());
  }
}

class FaceFinder {
 public:
  FaceFinder(const Model& model, const std::vector<Switch>& switches)
      : model_(model), switches_(switches), bounds_(model) {
    bounds_.tighten_all();
  }

  void find(const CanonicalCone& cone) {
    const size_t factors = num_factors(cone);
    for (size_t h = 0; h < factors; ++h) {
      const Member& factor = cone.members[h];
      if (factor.scale <= 0.0 || !is_integer(model_.var_kind[index(factor.var)])) continue;
      for (size_t k = factors; k < cone.members.size(); ++k) add_rows(cone, factor.var, k);
    }
  }

  std::vector<FaceRow> take() { return std::move(rows_); }

 private:
  // The largest value of a member, from those that the factors can have.
  double largest_by_factors(const CanonicalCone& cone) const {
    if (cone.kind == ConeKind::kExponential) return kInfinity;
    const bool rotated = cone.kind == ConeKind::kRotatedQuadratic;
    double product = rotated ? std::sqrt(2.0) : 1.0;
    for (size_t h = 0; h < num_factors(cone); ++h) {
      const Member& factor = cone.members[h];
      const double value = std::max(0.0, factor.scale * bounds_.upper(factor.var));
      product *= std::pow(value, rotated ? 0.5 : cone.weights[h]);
    }
    return std::isnan(product) ? kInfinity : product;
  }

  void add_rows(const CanonicalCone& cone, int32_t factor, size_t k) {
    const Member& member = cone.members[k];
    const Switch& known = switches_[index(member.var)];
    if (known.binary == factor && !known.off_at_one && known.value == 0.0) return;
    const double most = largest_by_factors(cone) / std::fabs(member.scale);
    const bool has_lower = cone.kind != ConeKind::kExponential || member.scale < 0.0;
    const bool has_upper = cone.kind != ConeKind::kExponential || member.scale > 0.0;
    if (has_upper) add_row(factor, member.var, 1.0, std::min(most, bounds_.upper(member.var)));
    if (has_lower) add_row(factor, member.var, -1.0, std::min(most, -bounds_.lower(member.var)));
  }

  // sign x <= u z
  void add_row(int32_t factor, int32_t var, double sign, double most) {
    if (most > 0.0 && most <= kMostBound) rows_.push_back({{factor, most}, {var, -sign}});
  }

  const Model& model_;
  const std::vector<Switch>& switches_;
  BoundPropagation bounds_;
  std::vector<FaceRow> rows_;
};

bool has_integer_factor(const Model& model, const CanonicalCone& cone) {
  const auto end = cone.members.begin() + static_cast<ptrdiff_t>(num_factors(cone));
  return std::any_of(cone.members.begin(), end, [&](const Member& member) {
    return is_integer(model.var_kind[index(member.var)]);
  });
}

}  // namespace

std::vector<FaceRow> integer_faces(const Model& linear, const std::vector<CanonicalCone>& cones,
                                   const std::vector<Switch>& switches) {
  const auto has_factor = [&](const CanonicalCone& cone) {
    return has_integer_factor(linear, cone);
  };
  if (std::none_of(cones.begin(), cones.end(), has_factor)) return {};
  FaceFinder finder(linear, switches);
  for (const CanonicalCone& cone : cones) {
    if (has_factor(cone)) finder.find(cone);
  }
  return finder.take();
}

}  // namespace vorlan::outer
