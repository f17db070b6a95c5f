// The pattern is built once, with the place of each element that an iterate changes. A
// factorization then adds the values at these places.
#include "solve/conic/newton_system.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// The shift of the diagonal, of a matrix that is scaled to elements of about 1: as small as the
// pivots allow, since the smaller it is, the more accurate are the steps of models whose equations
// are nearly dependent. It grows when rounding takes a pivot's sign.
constexpr double kFirstShift = 1e-12;
constexpr double kShiftGrowth = 100.0;
constexpr double kMostShift = 1e-5;
// The part of the shift that an element of the diagonal gets beside, relative to itself.
constexpr double kRelativeShift = 4e-16;
// Refinement ends after so many rounds, or at this residual relative to the right-hand side.
constexpr int kMostRounds = 4;
constexpr double kGoodResidual = 1e-15;
// Products with W are no better than this, and the caller corrects the steps of matrix variables.
constexpr double kGoodMatrixResidual = 1e-12;
// A round that leaves more than this share of the residual is the last one.
constexpr double kSlowRound = 0.5;

}  // namespace

// Elements of the upper triangle in any order, several of which may be the same place.
class NewtonSystem::Pattern {
 public:
  // The element's place is written to `place`, where that is not null, once it is known.
  void add(size_t a, size_t b, double value, int64_t* place = nullptr) {
    elements_.push_back({std::min(a, b), std::max(a, b), value, place});
  }

  // Adds the elements of a matrix, those on and above its diagonal or all, `shift` rows further
  // down.
  enum class Part { kUpper, kAll };
  void add_columns(const Columns& columns, Part part, size_t shift) {
    for (size_t j = 0; j < index(columns.num_col()); ++j) {
      for (size_t k = index(columns.start[j]); k < index(columns.start[j + 1]); ++k) {
        const size_t i = index(columns.row[k]);
        if (part == Part::kUpper && i > j) continue;
        add(i + shift, j, columns.value[k]);
      }
    }
  }

  // The matrix of the elements, its values the sums.
  UpperTriangle compress(size_t order) {
    sort(order, &Element::row);
    sort(order, &Element::col);
    UpperTriangle upper;
    upper.order = static_cast<int32_t>(order);
    upper.start.assign(order + 1, 0);
    const Element* last = nullptr;
    for (const Element& e : elements_) {
      if (last == nullptr || last->row != e.row || last->col != e.col) {
        upper.row.push_back(static_cast<int32_t>(e.row));
        upper.value.push_back(0.0);
        ++upper.start[e.col + 1];
      }
      upper.value.back() += e.value;
      if (e.place != nullptr) *e.place = static_cast<int64_t>(upper.row.size()) - 1;
      last = &e;
    }
    for (size_t i = 1; i < upper.start.size(); ++i) upper.start[i] += upper.start[i - 1];
    return upper;
  }

 private:
  struct Element {
    size_t row, col;
    double value;
    int64_t* place;
  };

  // A stable sort by counting.
  void sort(size_t order, size_t Element::*key) {
    std::vector<size_t> count(order + 1, 0);
    for (const Element& e : elements_) ++count[e.*key + 1];
    for (size_t i = 1; i < count.size(); ++i) count[i] += count[i - 1];
    std::vector<Element> sorted(elements_.size());
    for (const Element& e : elements_) sorted[count[e.*key]++] = e;
    elements_.swap(sorted);
  }

  std::vector<Element> elements_;
};

NewtonSystem::NewtonSystem(const ConicProblem& problem, const Scalings& scalings,
                           const DenseAlgebra* algebra)
    : problem_(problem),
      algebra_(algebra),
      shift_(kFirstShift),
      refined_{[this](const std::vector<double>& x, std::vector<double>* out) { multiply(x, out); },
               [this](std::span<double> x) { ldl_.solve(x); }} {
  for (const MatrixBlock& block : problem.matrices) products_.emplace_back(block, *algebra);
  choose_matrix_rows();
  build_pattern(scalings);
  end_.products.reset(end_.rows.size(), end_.rows.size());
  for (auto* vector : {&rhs_, &solution_, &residual_}) vector->assign(index(upper_.order), 0.0);
  ldl_.use(algebra);
  std::vector<int32_t> last;
  for (const int32_t row : end_.rows) last.push_back(static_cast<int32_t>(first_row_node_) + row);
  ldl_.analyze(upper_, last);
}

void NewtonSystem::choose_matrix_rows() {
  std::vector<bool> has_matrix(problem_.rhs.size(), false);
  double pairs = 0.0;
  for (const MatrixBlock& block : problem_.matrices) {
    const auto parts = static_cast<double>(block.parts.size());
    pairs += 0.5 * parts * (parts + 1.0);
    for (const MatrixPart& part : block.parts) has_matrix[index(part.row)] = true;
  }
  end_.place.assign(problem_.rhs.size(), -1);
  for (int32_t row = 0; row < problem_.num_row(); ++row) {
    if (!has_matrix[index(row)]) continue;
    end_.place[index(row)] = static_cast<int32_t>(end_.rows.size());
    end_.rows.push_back(row);
  }
  constexpr double kSparseShare = 0.1;
  const auto rows = static_cast<double>(end_.rows.size());
  has_dense_end_ = pairs >= kSparseShare * 0.5 * rows * (rows + 1.0);
  if (!has_dense_end_) end_.rows.clear();
}

void NewtonSystem::build_pattern(const Scalings& scalings) {
  Pattern pattern;
  place_.cones.resize(problem_.cones.size());
  sign_.assign(problem_.cost.size(), 1);
  for (size_t c = 0; c < place_.cones.size(); ++c) {
    if (scalings.cone(c).has_dense_hessian()) {
      add_dense_cone(c, &pattern);
    } else {
      add_sparse_cone(c, &pattern);
    }
  }
  first_row_node_ = sign_.size();
  const size_t order = first_row_node_ + problem_.rhs.size();
  sign_.resize(order, -1);
  place_.diagonal.resize(order);
  for (size_t node = 0; node < order; ++node) pattern.add(node, node, 0.0, &place_.diagonal[node]);
  pattern.add_columns(problem_.quadratic, Pattern::Part::kUpper, 0);
  pattern.add_columns(problem_.matrix, Pattern::Part::kAll, first_row_node_);
  if (!has_dense_end_) add_matrices(&pattern);
  upper_ = pattern.compress(order);
  constant_ = upper_.value;
  shifted_ = upper_;
}

// The upper triangle of the cone's Hessian.
void NewtonSystem::add_dense_cone(size_t c, Pattern* pattern) {
  const std::vector<int32_t>& vars = problem_.cones[c].vars;
  place_.cones[c].resize(vars.size() * (vars.size() + 1) / 2);
  size_t k = 0;
  for (size_t j = 0; j < vars.size(); ++j) {
    for (size_t i = 0; i <= j; ++i) {
      pattern->add(index(vars[i]), index(vars[j]), 0.0, &place_.cones[c][k++]);
    }
  }
}

// The diagonal, the element (0, 1), then the columns of u and v, each with a node of its own.
void NewtonSystem::add_sparse_cone(size_t c, Pattern* pattern) {
  const std::vector<int32_t>& vars = problem_.cones[c].vars;
  const size_t size = vars.size();
  const size_t node = sign_.size();
  place_.cones[c].resize(3 * size + 1);
  for (size_t i = 0; i < size; ++i) {
    const size_t var = index(vars[i]);
    pattern->add(var, var, 0.0, &place_.cones[c][i]);
    pattern->add(var, node, 0.0, &place_.cones[c][size + 1 + i]);
    pattern->add(var, node + 1, 0.0, &place_.cones[c][2 * size + 1 + i]);
  }
  pattern->add(index(vars[0]), index(vars[1]), 0.0, &place_.cones[c][size]);
  pattern->add(node, node, -1.0);
  pattern->add(node + 1, node + 1, 1.0);
  sign_.push_back(-1);
  sign_.push_back(1);
}

void NewtonSystem::add_matrices(Pattern* pattern) {
  place_.matrices.resize(problem_.matrices.size());
  for (size_t m = 0; m < place_.matrices.size(); ++m) {
    const std::vector<MatrixPart>& parts = problem_.matrices[m].parts;
    place_.matrices[m].resize(parts.size() * (parts.size() + 1) / 2);
    size_t k = 0;
    for (size_t col = 0; col < parts.size(); ++col) {
      for (size_t row = col; row < parts.size(); ++row) {
        pattern->add(first_row_node_ + index(parts[row].row),
                     first_row_node_ + index(parts[col].row), 0.0, &place_.matrices[m][k++]);
      }
    }
  }
}

void NewtonSystem::add_cone_values(const Scalings& scalings) {
  DenseMatrix h;
  std::vector<double> values;
  for (size_t c = 0; c < place_.cones.size(); ++c) {
    const ScaledCone& cone = scalings.cone(c);
    const size_t size = cone.size();
    if (cone.has_dense_hessian()) {
      h.reset(size, size);
      cone.hessian(h);
      size_t k = 0;
      for (size_t j = 0; j < size; ++j) {
        for (size_t i = 0; i <= j; ++i) upper_.value[index(place_.cones[c][k++])] += h(i, j);
      }
      continue;
    }
    values.assign(3 * size + 1, 0.0);
    const std::span<double> all = values;
    cone.sparse_hessian({all.first(size), values[size], all.subspan(size + 1, size),
                         all.subspan(2 * size + 1, size)});
    for (size_t k = 0; k < values.size(); ++k) upper_.value[index(place_.cones[c][k])] += values[k];
  }
}

void NewtonSystem::factor(const Scalings& scalings) {
  upper_.value = constant_;
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    upper_.value[index(place_.diagonal[index(problem_.bounds[k].var)])] += scalings.bounds()[k];
  }
  add_cone_values(scalings);
  add_matrix_values(scalings);
  factor_shifted();
  while (!ldl_.replaced().empty() && shift_ < kMostShift) {
    shift_ *= kShiftGrowth;
    factor_shifted();
  }
}

double NewtonSystem::num_multiplications() const {
  double sum = ldl_.num_multiplications();
  for (const MatrixProducts& products : products_) sum += products.num_multiplications();
  return sum;
}

void NewtonSystem::add_matrix_values(const Scalings& scalings) {
  end_.products.fill(0.0);
  for (size_t m = 0; m < products_.size(); ++m) {
    products_[m].compute(scalings.matrix(m).w(), &schur_);
    if (has_dense_end_) {
      add_to_dense_end(problem_.matrices[m].parts);
      continue;
    }
    const size_t size = schur_.rows();
    size_t k = 0;
    for (size_t col = 0; col < size; ++col) {
      for (size_t row = col; row < size; ++row) {
        upper_.value[index(place_.matrices[m][k++])] -= schur_(row, col);
      }
    }
  }
}

void NewtonSystem::add_to_dense_end(const std::vector<MatrixPart>& parts) {
  std::vector<size_t> places;
  places.reserve(parts.size());
  for (const MatrixPart& part : parts) places.push_back(index(end_.place[index(part.row)]));
  for (size_t col = 0; col < places.size(); ++col) {
    const size_t q = places[col];
    for (size_t row = col; row < places.size(); ++row) {
      const size_t p = places[row];
      end_.products(std::max(p, q), std::min(p, q)) += schur_(row, col);
    }
  }
}

void NewtonSystem::factor_shifted() {
  shifted_.value = upper_.value;
  for (size_t node = 0; node < sign_.size(); ++node) {
    double& value = shifted_.value[index(place_.diagonal[node])];
    value += sign_[node] * (shift_ + kRelativeShift * std::fabs(value));
  }
  ldl_.factor(shifted_, sign_, end_.rows.empty() ? nullptr : &end_.products);
}

void NewtonSystem::multiply(const std::vector<double>& x, std::vector<double>* out) const {
  std::fill(out->begin(), out->end(), 0.0);
  for (size_t col = 0; col < x.size(); ++col) {
    const double xc = x[col];
    double sum = 0.0;
    for (size_t k = index(upper_.start[col]); k < index(upper_.start[col + 1]); ++k) {
      const size_t row = index(upper_.row[k]);
      const double value = upper_.value[k];
      sum += value * x[row];
      if (row != col) (*out)[row] += value * xc;
    }
    (*out)[col] += sum;
  }
  if (end_.rows.empty()) return;
  std::vector<double> part;
  for (const int32_t row : end_.rows) part.push_back(x[first_row_node_ + index(row)]);
  std::vector<double> product(part.size());
  algebra_->multiply_vector(end_.products, part, product);
  for (size_t k = 0; k < product.size(); ++k) {
    (*out)[first_row_node_ + index(end_.rows[k])] -= product[k];
  }
}

void NewtonSystem::solve(const NewtonVector& rhs, NewtonVector* solution) {
  std::fill(rhs_.begin(), rhs_.end(), 0.0);
  const std::span<double> all = rhs_;
  std::copy(rhs.x.begin(), rhs.x.end(), all.begin());
  std::copy(rhs.y.begin(), rhs.y.end(), all.subspan(first_row_node_).begin());
  solution_ = rhs_;
  ldl_.solve(solution_);
  const double good = problem_.matrices.empty() ? kGoodResidual : kGoodMatrixResidual;
  const double target = good * norm(rhs_);
  double error = norm_of_residual();
  for (int round = 0; round < kMostRounds && error > target; ++round) {
    before_ = solution_;
    correction_.apply(refined_, residual_, error, target, &solution_);
    const double next = norm_of_residual();
    if (!(next < error)) {
      solution_ = before_;
      break;
    }
    const bool slow = next > kSlowRound * error;
    error = next;
    if (slow) break;
  }
  std::copy_n(solution_.begin(), solution->x.size(), solution->x.begin());
  for (size_t i = 0; i < solution->y.size(); ++i) {
    solution->y[i] = -solution_[first_row_node_ + i];
  }
}

// The residual is left in residual_.
double NewtonSystem::norm_of_residual() {
  multiply(solution_, &residual_);
  for (size_t i = 0; i < rhs_.size(); ++i) residual_[i] = rhs_[i] - residual_[i];
  return norm(residual_);
}

}  // namespace vorlan::conic
