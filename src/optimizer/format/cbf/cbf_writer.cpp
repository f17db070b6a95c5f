// Writing CBF files; docs/formats/cbf.md says in which form and why.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "format/cbf/cbf.h"
#include "format/cbf/cbf_words.h"
#include "format/common/admission.h"
#include "format/common/field_writer.h"
#include "format/common/writer_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Indices in kCbfLinearCones.
enum Linear : uint8_t { kFree, kPlus, kMinus, kZero };

struct Interval {
  double lower, upper;
};

class CbfWriter {
 public:
  CbfWriter(const Model& model, OutputFile* file);

  bool changes_order() const { return !std::is_sorted(order_.begin(), order_.end()); }
  void write();

 private:
  // A constraint of the file: A x + b in the cone of this kind, with b = -bound.
  struct Row {
    Linear kind;
    double bound;
  };
  struct Run {
    std::string word;
    size_t size;
  };
  using PowerTable = std::map<std::vector<double>, size_t>;

  void find_cones();
  void order_variables();
  void number_power_cones();
  void make_rows();
  void add_rows(Interval interval);
  Interval bounds_of(size_t var) const;
  static Linear home_of(Interval bounds);
  static Interval bounds_left(Interval bounds);

  void write_head();
  void write_power_table(const char* keyword, const std::vector<const Cone*>& cones);
  void write_matrix_variables();
  void write_variables();
  void write_integers();
  void write_constraints();
  void write_runs(const char* keyword, size_t count, const std::vector<Run>& runs);
  void write_objective();
  void write_matrix_coefficients();
  void write_coefficients();
  void sort_column(size_t var);
  void write_offsets();
  std::string cone_word(const Cone& cone) const;
  static void add_run(Linear kind, std::vector<Run>* runs);

  const Model& model_;
  FieldWriter out_;
  std::vector<int32_t> cone_of_;   // by variable: its cone, or -1
  std::vector<bool> is_positive_;  // by variable: the only member of a quadratic cone
  std::vector<int32_t> order_;     // the variables in the order of the file
  std::vector<const Cone*> power_cones_, dual_power_cones_;  // those with different exponents
  PowerTable power_places_, dual_power_places_;
  std::vector<Row> rows_;
  std::vector<size_t> first_row_;    // of each constraint, and the end
  std::vector<size_t> first_bound_;  // of each variable in the order of the file, and the end
  std::vector<std::pair<int32_t, double>> column_;  // the one at hand, by row
};

CbfWriter::CbfWriter(const Model& model, OutputFile* file) : model_(model), out_(file) {
  find_cones();
  order_variables();
  number_power_cones();
  make_rows();
}

// A quadratic cone needs two members at least; of one alone it says that it is not negative.
void CbfWriter::find_cones() {
  cone_of_.assign(model_.cost.size(), -1);
  is_positive_.assign(model_.cost.size(), false);
  for (size_t i = 0; i < model_.cones.size(); ++i) {
    const Cone& cone = model_.cones[i];
    if (cone.kind == ConeKind::kQuadratic && cone.vars.size() == 1) {
      is_positive_[index(cone.vars[0])] = true;
      continue;
    }
    for (const int32_t var : cone.vars) cone_of_[index(var)] = static_cast<int32_t>(i);
  }
}

// The order of the model but for cones, whose members stand side by side, in the place of the one
// that comes first.
void CbfWriter::order_variables() {
  std::vector<bool> done(model_.cones.size());
  order_.reserve(model_.cost.size());
  for (int32_t var = 0; var < model_.num_var(); ++var) {
    const int32_t number = cone_of_[index(var)];
    if (number < 0) {
      order_.push_back(var);
      continue;
    }
    if (done[index(number)]) continue;
    done[index(number)] = true;
    const std::vector<int32_t>& members = model_.cones[index(number)].vars;
    order_.insert(order_.end(), members.begin(), members.end());
  }
}

// Numbers the power cones in the order in which the file uses them.
void CbfWriter::number_power_cones() {
  for (const int32_t var : order_) {
    const int32_t number = cone_of_[index(var)];
    if (number < 0) continue;
    const Cone& cone = model_.cones[index(number)];
    if (!is_power(cone.kind) || cone.vars[0] != var) continue;
    const bool dual = cone.kind == ConeKind::kDualPower;
    std::vector<const Cone*>& cones = dual ? dual_power_cones_ : power_cones_;
    PowerTable& places = dual ? dual_power_places_ : power_places_;
    if (places.emplace(cone.exponents, cones.size()).second) cones.push_back(&cone);
  }
}

Interval CbfWriter::bounds_of(size_t var) const {
  const double lower = model_.var_lower[var];
  return {is_positive_[var] ? std::max(lower, 0.0) : lower, model_.var_upper[var]};
}

// The domain of a variable that is in no cone.
Linear CbfWriter::home_of(Interval bounds) {
  if (bounds.lower == 0.0) return bounds.upper == 0.0 ? kZero : kPlus;
  return bounds.upper == 0.0 ? kMinus : kFree;
}

// The part of the bounds that such a cone does not say.
Interval CbfWriter::bounds_left(Interval bounds) {
  return {bounds.lower == 0.0 ? -kInfinity : bounds.lower,
          bounds.upper == 0.0 ? kInfinity : bounds.upper};
}

void CbfWriter::make_rows() {
  for (size_t i = 0; i < model_.con_lower.size(); ++i) {
    first_row_.push_back(rows_.size());
    add_rows({model_.con_lower[i], model_.con_upper[i]});
    if (first_row_.back() == rows_.size()) rows_.push_back({kFree, 0.0});
  }
  first_row_.push_back(rows_.size());
  for (const int32_t var : order_) {
    first_bound_.push_back(rows_.size());
    const Interval bounds = bounds_of(index(var));
    add_rows(cone_of_[index(var)] < 0 ? bounds_left(bounds) : bounds);
  }
  first_bound_.push_back(rows_.size());
}

void CbfWriter::add_rows(Interval interval) {
  if (interval.lower == interval.upper) {
    rows_.push_back({kZero, interval.lower});
    return;
  }
  if (interval.lower != -kInfinity) rows_.push_back({kPlus, interval.lower});
  if (interval.upper != kInfinity) rows_.push_back({kMinus, interval.upper});
}

void CbfWriter::write() {
  write_head();
  write_power_table("POWCONES", power_cones_);
  write_power_table("POW*CONES", dual_power_cones_);
  write_matrix_variables();
  write_variables();
  write_integers();
  write_constraints();
  write_objective();
  write_matrix_coefficients();
  write_coefficients();
  write_offsets();
}

// The lowest version that has the cones.
void CbfWriter::write_head() {
  int version = 1;
  for (const Cone& cone : model_.cones) {
    const auto* const found = std::find_if(std::begin(kCbfCones), std::end(kCbfCones),
                                           [&](const CbfCone& c) { return c.kind == cone.kind; });
    version = std::max(version, found->version);
  }
  out_.line("VER");
  out_.line(version);
  out_.line("\nOBJSENSE");
  out_.line(model_.maximize ? "MAX" : "MIN");
}

void CbfWriter::write_power_table(const char* keyword, const std::vector<const Cone*>& cones) {
  if (cones.empty()) return;
  size_t total = 0;
  for (const Cone* cone : cones) total += cone->exponents.size();
  out_.line(keyword);
  out_.line(cones.size(), total);
  for (const Cone* cone : cones) {
    out_.line(cone->exponents.size());
    for (const double exponent : cone->exponents) out_.line(exponent);
  }
}

void CbfWriter::write_matrix_variables() {
  if (model_.matrix_vars.empty()) return;
  out_.line("\nPSDVAR");
  out_.line(model_.matrix_vars.size());
  for (const MatrixVariable& matrix_var : model_.matrix_vars) out_.line(matrix_var.dimension);
}

std::string CbfWriter::cone_word(const Cone& cone) const {
  const auto* const found = std::find_if(std::begin(kCbfCones), std::end(kCbfCones),
                                         [&](const CbfCone& c) { return c.kind == cone.kind; });
  std::string word(found->word);
  if (!is_power(cone.kind)) return word;
  const PowerTable& places = cone.kind == ConeKind::kDualPower ? dual_power_places_ : power_places_;
  return format_text("@%zu:%s", places.at(cone.exponents), word.c_str());
}

void CbfWriter::add_run(Linear kind, std::vector<Run>* runs) {
  const std::string_view word = kCbfLinearCones[kind].word;
  if (runs->empty() || runs->back().word != word) runs->push_back({std::string(word), 0});
  ++runs->back().size;
}

void CbfWriter::write_variables() {
  std::vector<Run> runs;
  for (size_t place = 0; place < order_.size();) {
    const size_t var = index(order_[place]);
    if (cone_of_[var] < 0) {
      add_run(home_of(bounds_of(var)), &runs);
      ++place;
      continue;
    }
    const Cone& cone = model_.cones[index(cone_of_[var])];
    runs.push_back({cone_word(cone), cone.vars.size()});
    place += cone.vars.size();
  }
  write_runs("\nVAR", order_.size(), runs);
}

void CbfWriter::write_runs(const char* keyword, size_t count, const std::vector<Run>& runs) {
  if (count == 0) return;
  out_.line(keyword);
  out_.line(count, runs.size());
  for (const Run& run : runs) out_.line(std::string_view(run.word), run.size);
}

void CbfWriter::write_integers() {
  const auto count = std::count(model_.var_kind.begin(), model_.var_kind.end(), VarKind::kInteger);
  if (count == 0) return;
  out_.line("\nINT");
  out_.line(int64_t{count});
  for (size_t place = 0; place < order_.size(); ++place) {
    if (model_.var_kind[index(order_[place])] == VarKind::kInteger) out_.line(place);
  }
}

void CbfWriter::write_constraints() {
  std::vector<Run> runs;
  for (const Row& row : rows_) add_run(row.kind, &runs);
  write_runs("\nCON", rows_.size(), runs);
}

void CbfWriter::write_objective() {
  const auto is_there = [](const MatrixCostEntry& cost) { return cost.entry.value != 0.0; };
  const auto matrices =
      std::count_if(model_.matrix_cost.begin(), model_.matrix_cost.end(), is_there);
  if (matrices > 0) {
    out_.line("\nOBJFCOORD");
    out_.line(int64_t{matrices});
  }
  for (const MatrixCostEntry& cost : model_.matrix_cost) {
    if (!is_there(cost)) continue;
    out_.line(cost.matrix_var, cost.entry.row, cost.entry.col, cost.entry.value);
  }
  const auto scalars = std::count_if(model_.cost.begin(), model_.cost.end(),
                                     [](double cost) { return !is_plus_zero(cost); });
  if (scalars > 0) {
    out_.line("\nOBJACOORD");
    out_.line(int64_t{scalars});
  }
  for (size_t place = 0; place < order_.size(); ++place) {
    const double cost = model_.cost[index(order_[place])];
    if (!is_plus_zero(cost)) out_.line(place, cost);
  }
  if (is_plus_zero(model_.constant)) return;
  out_.line("\nOBJBCOORD");
  out_.line(model_.constant);
}

// The list is by constraint; one with two sides is two constraints of the file.
void CbfWriter::write_matrix_coefficients() {
  const std::vector<MatrixCoefficient>& list = model_.matrix_coefficients;
  const auto rows_of = [this](const MatrixCoefficient& element) {
    const size_t con = index(element.con);
    return element.entry.value == 0.0 ? 0 : first_row_[con + 1] - first_row_[con];
  };
  size_t count = 0;
  for (const MatrixCoefficient& element : list) count += rows_of(element);
  if (count == 0) return;
  out_.line("\nFCOORD");
  out_.line(count);
  for (size_t begin = 0, end = 0; begin < list.size(); begin = end) {
    const size_t con = index(list[begin].con);
    while (end < list.size() && list[end].con == list[begin].con) ++end;
    for (size_t row = first_row_[con]; row < first_row_[con + 1]; ++row) {
      for (size_t k = begin; k < end; ++k) {
        const TriangleEntry& entry = list[k].entry;
        if (entry.value == 0.0) continue;
        out_.line(row, list[k].matrix_var, entry.row, entry.col, entry.value);
      }
    }
  }
}

void CbfWriter::sort_column(size_t var) {
  const SparseMatrix& matrix = model_.matrix;
  column_.clear();
  for (size_t k = index(matrix.start[var]); k < index(matrix.start[var + 1]); ++k) {
    if (matrix.value[k] != 0.0) column_.emplace_back(matrix.row[k], matrix.value[k]);
  }
  if (!std::is_sorted(column_.begin(), column_.end())) std::sort(column_.begin(), column_.end());
}

void CbfWriter::write_coefficients() {
  size_t count = rows_.size() - first_row_.back();
  for (size_t k = 0; k < model_.matrix.row.size(); ++k) {
    const size_t con = index(model_.matrix.row[k]);
    if (model_.matrix.value[k] != 0.0) count += first_row_[con + 1] - first_row_[con];
  }
  if (count == 0) return;
  out_.line("\nACOORD");
  out_.line(count);
  for (size_t place = 0; place < order_.size(); ++place) {
    sort_column(index(order_[place]));
    for (const auto& [con, value] : column_) {
      for (size_t row = first_row_[index(con)]; row < first_row_[index(con) + 1]; ++row) {
        out_.line(row, place, value);
      }
    }
    for (size_t row = first_bound_[place]; row < first_bound_[place + 1]; ++row) {
      out_.line(row, place, 1);
    }
  }
}

void CbfWriter::write_offsets() {
  const auto is_there = [](const Row& row) { return row.bound != 0.0; };
  const auto count = std::count_if(rows_.begin(), rows_.end(), is_there);
  if (count == 0) return;
  out_.line("\nBCOORD");
  out_.line(int64_t{count});
  for (size_t row = 0; row < rows_.size(); ++row) {
    if (is_there(rows_[row])) out_.line(row, -rows_[row].bound);
  }
}

}  // namespace

Status write_cbf(const ProblemView& problem, OutputFile* file, Warnings* warnings) {
  const Model& model = problem.model;
  Status status =
      admit(Admission("a CBF file", model), &Admission::check_sound, &Admission::check_sides,
            &Admission::check_linear, &Admission::check_no_semi, &Admission::check_no_logic);
  if (!status.ok()) return status;
  CbfWriter writer(model, file);
  if (has_names(model)) warnings->add("CBF files have no names: those of the model are left out");
  if (writer.changes_order()) {
    warnings->add(
        "the order of the variables is another one in the file: the members of a cone "
        "stand side by side there");
  }
  writer.write();
  return {};
}

}  // namespace vorlan
