// The model of a task: the single source of truth that formats fill and optimizers read.
//
//   minimize or maximize   cost'x + 1/2 x'Qx + <C, X> + constant
//   subject to             con_lower <= A x + 1/2 x'Q_i x + <A_i, X> <= con_upper
//                          var_lower <=  x  <= var_upper
//                          integer and semi-continuous variables as var_kind says
//                          special ordered sets; rows of indicators only where they are active
//                          parts of x in cones
//                          matrix variables X_j symmetric positive semidefinite
//
// The matrix is kept by column, because every optimizer and most formats want it so; element counts
// are 64-bit. Infinite bounds are IEEE infinities. A semi-continuous variable is 0 or within its
// bounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorlan {

enum class VarKind : uint8_t { kContinuous, kInteger, kSemiContinuous, kSemiInteger };

inline bool is_integer(VarKind kind) {
  return kind == VarKind::kInteger || kind == VarKind::kSemiInteger;
}

inline bool is_semi(VarKind kind) {
  return kind == VarKind::kSemiContinuous || kind == VarKind::kSemiInteger;
}

// Names by index in one block of text: a million names cost two allocations, not a million. An
// index past the end is an unnamed element.
class NameList {
 public:
  void add(std::string_view name);
  void reserve(size_t count, size_t bytes);
  std::string_view operator[](size_t index) const;
  size_t longest() const { return longest_; }
  // Lets the processor fetch where the name is, ahead of operator[].
  void prefetch(size_t index) const { __builtin_prefetch(end_.data() + index); }

 private:
  std::string text_;
  std::vector<size_t> end_;
  size_t longest_ = 0;
};

struct SparseMatrix {
  std::vector<int64_t> start = {0};  // one more than columns
  std::vector<int32_t> row;
  std::vector<double> value;

  int64_t num_elements() const { return start.back(); }
};

// The cones, for members x0, x1, ... in this order.
enum class ConeKind : uint8_t {
  kQuadratic,         // x0 >= sqrt(x1^2 + x2^2 + ...)
  kRotatedQuadratic,  // 2 x0 x1 >= x2^2 + ..., x0, x1 >= 0
  kExponential,       // x0 >= x1 exp(x2 / x1), x1 > 0, and the closure
  kDualExponential,   // x0 >= -x2 exp(x1 / x2 - 1), x2 < 0, and the closure
  kPower,             // x0^w0 ... xk^wk >= norm2 of the other members, x0 ... xk >= 0
  kDualPower,         // (x0/w0)^w0 ... (xk/wk)^wk >= norm2 of the other members, x0 ... xk >= 0
};

// A variable is in one cone at most, and its bounds hold besides.
struct Cone {
  ConeKind kind;
  std::vector<int32_t> vars;
  // Power cones have one for each of the first members, all positive. They count relative to their
  // sum: w = exponents / sum. Other cones have none.
  std::vector<double> exponents;
};

struct MatrixVariable {
  int32_t dimension;
};

// An element of the lower triangle, row >= col, of a symmetric matrix. It stands for the element
// (col, row) too.
struct TriangleEntry {
  int32_t row, col;
  double value;
};

// Elements of Q_i of a constraint; the lists of entries below are sorted (by constraint, matrix
// variable, column, row) and name no place twice.
struct ConQuadraticEntry {
  int32_t con;
  TriangleEntry entry;
};

// Elements of C (matrix_cost) and of A_i (matrix_coefficients) at a matrix variable: an element off
// the diagonal counts twice in the inner product.
struct MatrixCostEntry {
  int32_t matrix_var;
  TriangleEntry entry;
};
struct MatrixCoefficient {
  int32_t con;
  int32_t matrix_var;
  TriangleEntry entry;
};

// Members that must be 0 but for one of them, or but for two neighbours.
enum class SetKind : uint8_t { kSos1, kSos2 };

// A special ordered set. The members are in the order of their weights, which files give and tree
// searches may use. Weights of a kSos2 set differ, since they say who is a neighbour.
struct OrderedSet {
  SetKind kind;
  std::vector<int32_t> vars;
  std::vector<double> weights;  // ascending

  // The number of members that may be other than 0.
  size_t most_nonzeros() const { return kind == SetKind::kSos1 ? 1 : 2; }
};

// The constraint `con`, a linear one, holds where the binary variable has the value `active`, and
// means nothing elsewhere. Indicators are sorted by constraint, each of which has one at most.
struct Indicator {
  int32_t con;
  int32_t binary;
  bool active;

  // True if the constraint holds at a point, at which the binary variable may be nearly an integer.
  bool is_active_at(const std::vector<double>& x) const {
    return (x[static_cast<size_t>(binary)] > 0.5) == active;
  }
};

struct Model {
  std::string name, objective_name;  // empty when the source gave none
  bool maximize = false;
  double constant = 0.0;
  std::vector<double> cost, var_lower, var_upper;
  std::vector<VarKind> var_kind;
  std::vector<double> con_lower, con_upper;
  SparseMatrix matrix;
  std::vector<TriangleEntry> quadratic_cost;  // Q
  std::vector<ConQuadraticEntry> quadratic_coefficients;
  std::vector<MatrixCostEntry> matrix_cost;
  std::vector<MatrixCoefficient> matrix_coefficients;
  std::vector<Cone> cones;
  std::vector<MatrixVariable> matrix_vars;
  std::vector<OrderedSet> sets;
  std::vector<Indicator> indicators;
  NameList var_names, con_names, cone_names, matrix_var_names, set_names;
  // Of the first variables, for one solve: it branches on one of the highest. The others have 0. No
  // file of a model has them.
  std::vector<int32_t> branching_priority;

  int32_t num_var() const { return static_cast<int32_t>(cost.size()); }
  int32_t num_con() const { return static_cast<int32_t>(con_lower.size()); }
  // Rows, columns and elements together: what a linear model takes grows with it.
  int64_t size() const { return matrix.num_elements() + num_var() + num_con(); }
  int32_t num_cone() const { return static_cast<int32_t>(cones.size()); }
  int32_t num_matrix_var() const { return static_cast<int32_t>(matrix_vars.size()); }

  bool is_quadratic() const { return !quadratic_cost.empty() || !quadratic_coefficients.empty(); }
  bool is_linear() const { return cones.empty() && matrix_vars.empty() && !is_quadratic(); }
  // Sets and indicators are choices, too, for which integer variables stand.
  bool is_mixed_integer() const;
  bool has_logic() const { return !sets.empty() || !indicators.empty(); }
  // True for an integer variable that can be 0 or 1 and nothing else.
  bool is_binary(int32_t var) const;

  // Optimizers always minimize: the factor between an objective of theirs and the model's own.
  double sense_factor() const { return maximize ? -1.0 : 1.0; }
  // An objective of the minimization, which has no constant, as the model states it.
  double stated_objective(double minimized) const { return sense_factor() * minimized + constant; }
};

}  // namespace vorlan
