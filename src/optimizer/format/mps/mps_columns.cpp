// Adding columns and their elements; see mps_columns.h.
#include "format/mps/mps_columns.h"

#include <limits>

#include "format/common/nearest.h"
#include "format/mps/mps_rows.h"

namespace vorlan {

MpsColumns::MpsColumns(MpsReading* reading)
    : reading_(*reading), table_(&reading->model.var_names) {}

Status MpsColumns::open(std::string_view name) {
  close();
  reading_.applied = true;
  int32_t column = kNoColumn;
  Status status = add(name, &column);
  if (!status.ok()) return status;
  column_ = column;
  if (integer_) {
    reading_.model.var_kind.back() = VarKind::kInteger;
    marks_.back() = kMarkedInteger;
  }
  return {};
}

Status MpsColumns::add(std::string_view name, int32_t* column) {
  Model& model = reading_.model;
  if (model.cost.size() == std::numeric_limits<int32_t>::max()) {
    return reading_.text.error(name, "too many columns");
  }
  *column = model.num_var();
  if (table_.insert(name, *column) != *column) {
    return reading_.text.error(name,
                               "the column has been given before, its lines must be together");
  }
  model.var_names.add(name);
  model.cost.push_back(0.0);
  model.var_lower.push_back(0.0);
  model.var_upper.push_back(kInfinity);
  model.var_kind.push_back(VarKind::kContinuous);
  model.matrix.start.push_back(static_cast<int64_t>(model.matrix.row.size()));
  marks_.push_back(0);
  return {};
}

void MpsColumns::close() {
  if (column_ == kNoColumn) return;
  SparseMatrix& matrix = reading_.model.matrix;
  const size_t begin = index(matrix.start[index(column_)]);
  matrix.start[index(column_) + 1] = static_cast<int64_t>(matrix.row.size());
  if (!sorted_) sorter_.sort(begin, matrix.row.size(), &matrix);
  sorted_ = true;
  column_ = kNoColumn;
}

Status MpsColumns::add_element(int32_t row, double value, std::string_view name) {
  reading_.applied = true;
  const bool is_cost = row == MpsRows::kObjective;
  int32_t& last_column = is_cost ? objective_column_ : last_column_[index(row)];
  if (last_column == column_) {
    return reading_.text.error(name, "a second coefficient of the column in this row");
  }
  last_column = column_;
  if (is_cost) {
    reading_.model.cost.back() = value;
    return {};
  }
  if (value == 0.0) return {};
  SparseMatrix& matrix = reading_.model.matrix;
  const bool first = index(matrix.start.back()) == matrix.row.size();
  if (!first && row < matrix.row.back()) sorted_ = false;
  matrix.row.push_back(row);
  matrix.value.push_back(value);
  return {};
}

Status MpsColumns::find(std::string_view name, int32_t* column) const {
  *column = find(name);
  if (*column >= 0) return {};
  return reading_.text.error(name, "the name of a column was expected",
                             advice_on(reading_.model.var_names, reading_.model.cost.size(), name));
}

}  // namespace vorlan
