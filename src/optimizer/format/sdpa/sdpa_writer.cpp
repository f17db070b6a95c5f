// Writing SDPA sparse files; docs/formats/sdpa.md says in which form and why.
//
// The file has equations between non-negative scalars and semidefinite matrices, and a maximum. So
// inequalities get slack variables, bounds become equations with a slack variable, a variable that
// is nowhere positive is written with the opposite sign, one of both signs is the difference of
// two, and a constant is the cost of a variable that is fixed at 1.
#include <algorithm>
#include <limits>
#include <tuple>
#include <vector>

#include "format/common/admission.h"
#include "format/common/field_writer.h"
#include "format/sdpa/sdpa.h"
#include "format/sdpa/sdpa_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

class SdpaWriter {
 public:
  SdpaWriter(const Model& model, OutputFile* file);

  int64_t num_changed() const { return num_changed_; }
  int64_t num_free_cons() const { return num_free_cons_; }
  void write();

 private:
  enum class Shape : uint8_t { kPlus, kMinus, kDifference };
  struct Scalar {
    Shape shape;
    int32_t place;  // in the diagonal block, from 1; the subtracted one is behind it
  };
  // Row and column from 1, row <= col. Matrix 0 is the objective's.
  struct Element {
    int32_t matrix, block, row, col;
    double value;

    bool operator<(const Element& other) const {
      return std::tie(matrix, block, row, col) <
             std::tie(other.matrix, other.block, other.row, other.col);
    }
  };

  void place_variables();
  void make_constraints();
  void make_bounds(size_t var);
  template <class AddTerms>
  void make_rows(double lower, double upper, const AddTerms& add_terms);
  template <class AddTerms>
  void make_row(double side, double slack, const AddTerms& add_terms);
  void add_coefficients();
  void add_objective();
  void add_constant();
  void add_diagonal(int32_t matrix, int32_t place, double value);
  void add_scalar(int32_t matrix, size_t var, double value);
  void add_element(int32_t matrix, int32_t matrix_var, const TriangleEntry& entry);
  void write_head();

  const Model& model_;
  OutputFile* file_;
  FieldWriter out_;
  double sign_;  // of the objective
  int32_t diagonal_block_;
  int32_t num_scalars_ = 0;
  int64_t num_changed_ = 0;
  int64_t num_free_cons_ = 0;
  std::vector<Scalar> scalars_;
  std::vector<double> sides_;
  std::vector<int32_t> first_matrix_;  // of each constraint, and the end
  std::vector<Element> elements_;
};

SdpaWriter::SdpaWriter(const Model& model, OutputFile* file)
    : model_(model),
      file_(file),
      out_(file),
      sign_(model.maximize ? 1.0 : -1.0),
      diagonal_block_(model.num_matrix_var() + 1) {
  place_variables();
  make_constraints();
  for (size_t j = 0; j < model_.cost.size(); ++j) make_bounds(j);
  add_coefficients();
  add_objective();
  if (model_.constant != 0.0) add_constant();
  std::sort(elements_.begin(), elements_.end());
}

void SdpaWriter::place_variables() {
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    Scalar scalar = {Shape::kDifference, num_scalars_ + 1};
    if (model_.var_lower[j] >= 0.0) {
      scalar.shape = Shape::kPlus;
    } else if (model_.var_upper[j] <= 0.0) {
      scalar.shape = Shape::kMinus;
    }
    num_scalars_ += scalar.shape == Shape::kDifference ? 2 : 1;
    num_changed_ += scalar.shape == Shape::kPlus ? 0 : 1;
    scalars_.push_back(scalar);
  }
}

// One or two equations, of the terms and a slack variable each.
template <class AddTerms>
void SdpaWriter::make_rows(double lower, double upper, const AddTerms& add_terms) {
  if (lower == upper) return make_row(lower, 0.0, add_terms);
  if (lower != -kInfinity) make_row(lower, -1.0, add_terms);
  if (upper != kInfinity) make_row(upper, 1.0, add_terms);
}

template <class AddTerms>
void SdpaWriter::make_row(double side, double slack, const AddTerms& add_terms) {
  sides_.push_back(side);
  const auto matrix = static_cast<int32_t>(sides_.size());
  add_terms(matrix);
  if (slack != 0.0) add_diagonal(matrix, ++num_scalars_, slack);
}

void SdpaWriter::make_constraints() {
  const auto no_terms = [](int32_t) {};
  for (size_t i = 0; i < model_.con_lower.size(); ++i) {
    first_matrix_.push_back(static_cast<int32_t>(sides_.size()) + 1);
    make_rows(model_.con_lower[i], model_.con_upper[i], no_terms);
    if (model_.con_lower[i] == -kInfinity && model_.con_upper[i] == kInfinity) ++num_free_cons_;
  }
  first_matrix_.push_back(static_cast<int32_t>(sides_.size()) + 1);
}

// Makes rows for the bounds that the shape of the scalar does not say.
void SdpaWriter::make_bounds(size_t var) {
  const double lower = model_.var_lower[var];
  const double upper = model_.var_upper[var];
  const Shape shape = scalars_[var].shape;
  const bool said_lower = shape == Shape::kPlus && lower == 0.0 && upper != 0.0;
  const bool said_upper = shape == Shape::kMinus && upper == 0.0;
  make_rows(said_lower ? -kInfinity : lower, said_upper ? kInfinity : upper,
            [this, var](int32_t matrix) { add_scalar(matrix, var, 1.0); });
}

void SdpaWriter::add_coefficients() {
  const auto for_matrices = [this](int32_t con, const auto& add) {
    for (int32_t k = first_matrix_[index(con)]; k < first_matrix_[index(con) + 1]; ++k) add(k);
  };
  const SparseMatrix& matrix = model_.matrix;
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    const size_t end = index(matrix.start[j + 1]);
    for (size_t k = index(matrix.start[j]); k < end; ++k) {
      for_matrices(matrix.row[k], [&](int32_t number) { add_scalar(number, j, matrix.value[k]); });
    }
  }
  for (const MatrixCoefficient& element : model_.matrix_coefficients) {
    for_matrices(element.con,
                 [&](int32_t number) { add_element(number, element.matrix_var, element.entry); });
  }
}

void SdpaWriter::add_objective() {
  for (size_t j = 0; j < model_.cost.size(); ++j) add_scalar(0, j, sign_ * model_.cost[j]);
  for (const MatrixCostEntry& cost : model_.matrix_cost) {
    add_element(0, cost.matrix_var, {cost.entry.row, cost.entry.col, sign_ * cost.entry.value});
  }
}

void SdpaWriter::add_constant() {
  add_diagonal(0, ++num_scalars_, sign_ * model_.constant);
  const int32_t place = num_scalars_;
  make_row(1.0, 0.0, [this, place](int32_t matrix) { add_diagonal(matrix, place, 1.0); });
}

void SdpaWriter::add_diagonal(int32_t matrix, int32_t place, double value) {
  if (value != 0.0) elements_.push_back({matrix, diagonal_block_, place, place, value});
}

void SdpaWriter::add_scalar(int32_t matrix, size_t var, double value) {
  const Scalar scalar = scalars_[var];
  add_diagonal(matrix, scalar.place, scalar.shape == Shape::kMinus ? -value : value);
  if (scalar.shape == Shape::kDifference) add_diagonal(matrix, scalar.place + 1, -value);
}

void SdpaWriter::add_element(int32_t matrix, int32_t matrix_var, const TriangleEntry& entry) {
  if (entry.value == 0.0) return;
  elements_.push_back({matrix, matrix_var + 1, entry.col + 1, entry.row + 1, entry.value});
}

// Other programs read the right-hand sides from one line, and no comments between the elements.
void SdpaWriter::write_head() {
  if (!model_.maximize) {
    out_.line(kSdpaMinimize);
    out_.line("* The objective is the negative of the one that is minimized.");
  }
  const auto write_list = [this](const auto& append, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      if (i > 0) file_->append(' ');
      append(i);
    }
    file_->append('\n');
  };
  const size_t num_matrices = model_.matrix_vars.size();
  out_.line(sides_.size());
  out_.line(num_matrices + (num_scalars_ > 0 ? 1 : 0));
  const auto append_size = [&](size_t i) {
    file_->append_integer(i < num_matrices ? model_.matrix_vars[i].dimension : -num_scalars_);
  };
  write_list(append_size, num_matrices + (num_scalars_ > 0 ? 1 : 0));
  write_list([this](size_t i) { file_->append_number(sides_[i]); }, sides_.size());
}

void SdpaWriter::write() {
  write_head();
  for (const Element& element : elements_) {
    out_.line(element.matrix, element.block, element.row, element.col, element.value);
  }
}

// Each scalar of the file has a place in the one diagonal block, and each equation a number.
Status check_size(const Admission& admission, const Model& model) {
  constexpr size_t kMost = std::numeric_limits<int32_t>::max() / 8;
  if (model.cost.size() < kMost && model.con_lower.size() < kMost) return {};
  return admission.refuse("it has too many variables or constraints");
}

}  // namespace

Status write_sdpa(const ProblemView& problem, OutputFile* file, Warnings* warnings) {
  const Model& model = problem.model;
  const Admission admission("an SDPA file", model);
  Status status =
      admit(admission, &Admission::check_sound, &Admission::check_sides, &Admission::check_linear,
            &Admission::check_no_logic, &Admission::check_no_semi, &Admission::check_no_integers,
            &Admission::check_no_cones);
  if (status.ok()) status = check_size(admission, model);
  if (!status.ok()) return status;
  SdpaWriter writer(model, file);
  if (has_names(model)) warnings->add("SDPA files have no names: those of the model are left out");
  if (!model.maximize) {
    warnings->add("SDPA files maximize: the objective is written with the opposite sign");
  }
  if (writer.num_changed() > 0) {
    warnings->add("SDPA files have non-negative scalars only: " +
                  counted(writer.num_changed(), "variable is", "variables are") +
                  " written with the opposite sign or as a difference");
  }
  if (writer.num_free_cons() > 0) {
    warnings->add(format_text("constraints without sides are left out: %lld",
                              static_cast<long long>(writer.num_free_cons())));
  }
  writer.write();
  return {};
}

}  // namespace vorlan
