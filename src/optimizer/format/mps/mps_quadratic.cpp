// Ordering and checking the quadratic terms; see mps_quadratic.h.
#include "format/mps/mps_quadratic.h"

#include <algorithm>
#include <tuple>

#include "file/text_reader.h"
#include "task/numeric.h"

namespace vorlan {

void MpsQuadratic::begin_section(MpsQuadraticKind kind, int32_t con) {
  section_ = terms_.size();
  kind_ = kind;
  con_ = con;
}

void MpsQuadratic::add(int32_t first, int32_t second, double value, int64_t line) {
  if (value == 0.0) return;
  if (terms_.empty()) first_line_ = line;
  // Lines too far behind the first one, by thousands of millions, are told as the last that fits.
  const int64_t number = std::min(line - first_line_, int64_t{kAbove - 1});
  const uint32_t order = static_cast<uint32_t>(number) | (first < second ? kAbove : 0);
  terms_.push_back(
      {con_, std::max(first, second), std::min(first, second), order, value * kind_.factor});
}

MpsQuadratic::Fault MpsQuadratic::end_section(const Model& model) {
  const auto begin = terms_.begin() + static_cast<std::ptrdiff_t>(section_);
  if (!std::is_sorted(begin, terms_.end(), before)) std::sort(begin, terms_.end(), before);
  return kind_.triangle == MpsTriangle::kBoth ? drop_mirrors(model) : Fault();
}

// Keeps, of each pair of a full matrix, the element below the diagonal.
MpsQuadratic::Fault MpsQuadratic::drop_mirrors(const Model& model) {
  size_t kept = section_;
  for (size_t i = section_; i < terms_.size(); ++i) {
    const Term term = terms_[i];
    if (term.row != term.col) {
      const bool paired = !is_above(term) && i + 1 < terms_.size() && is_above(terms_[i + 1]) &&
                          same_place(term, terms_[i + 1]);
      if (!paired) return fault("a full matrix needs the element at both places", term, model);
      if (terms_[i + 1].value != term.value) {
        return fault("the elements of a symmetric matrix differ", later(term, terms_[i + 1]),
                     model);
      }
      ++i;
    }
    terms_[kept++] = term;
  }
  terms_.resize(kept);
  return {};
}

MpsQuadratic::Fault MpsQuadratic::finish(Model* model) {
  if (!std::is_sorted(terms_.begin(), terms_.end(), before)) {
    std::sort(terms_.begin(), terms_.end(), before);
  }
  const auto twice = std::adjacent_find(terms_.begin(), terms_.end(), same_place);
  if (twice != terms_.end()) {
    return fault("an element of a quadratic term is given twice", later(*twice, *(twice + 1)),
                 *model);
  }
  const auto objective_end = std::find_if(terms_.begin(), terms_.end(),
                                          [](const Term& term) { return term.con != kObjective; });
  model->quadratic_cost.reserve(static_cast<size_t>(objective_end - terms_.begin()));
  model->quadratic_coefficients.reserve(static_cast<size_t>(terms_.end() - objective_end));
  for (const Term& term : terms_) {
    const TriangleEntry entry = {term.row, term.col, term.value};
    if (term.con == kObjective) {
      model->quadratic_cost.push_back(entry);
    } else {
      model->quadratic_coefficients.push_back({term.con, entry});
    }
  }
  terms_.clear();
  return {};
}

// Elements below the diagonal come before those above at the same place, and these by line.
bool MpsQuadratic::before(const Term& a, const Term& b) {
  return std::tie(a.con, a.col, a.row, a.order) < std::tie(b.con, b.col, b.row, b.order);
}

bool MpsQuadratic::same_place(const Term& a, const Term& b) {
  return a.con == b.con && a.col == b.col && a.row == b.row;
}

const MpsQuadratic::Term& MpsQuadratic::later(const Term& a, const Term& b) const {
  return line_of(a) < line_of(b) ? b : a;
}

MpsQuadratic::Fault MpsQuadratic::fault(const char* what, const Term& term,
                                        const Model& model) const {
  const auto name = [&model](int32_t var) { return printable(model.var_names[index(var)]); };
  return {std::string(what) + ", found '" + name(term.row) + "' with '" + name(term.col) + "'",
          line_of(term)};
}

}  // namespace vorlan
