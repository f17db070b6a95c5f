// Quadratic terms of an MPS file: collected section by section, in the end put into the order and
// the form of the model.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "task/model.h"

namespace vorlan {

// Which elements of its symmetric matrix a section has: one triangle, or every element, those off
// the diagonal twice.
enum class MpsTriangle : uint8_t { kOne, kBoth };

// The rules that the sections differ in.
struct MpsQuadraticKind {
  MpsTriangle triangle = MpsTriangle::kOne;
  double factor = 1.0;  // of the values, to have them as in 1/2 x'Qx
};

class MpsQuadratic {
 public:
  // The number that stands for the objective.
  static constexpr int32_t kObjective = -1;

  void begin_section(MpsQuadraticKind kind, int32_t con);
  double factor() const { return kind_.factor; }
  void add(int32_t first, int32_t second, double value, int64_t line);

  // The fault of the section that ends, and its line; empty if there is none.
  struct Fault {
    std::string what;
    int64_t line = 0;
  };
  Fault end_section(const Model& model);

  // Moves the terms into the model, if no place occurs in two sections.
  Fault finish(Model* model);

 private:
  struct Term {
    int32_t con;
    int32_t row, col;  // row >= col
    uint32_t order;  // its line, counted from the first one; with kAbove if it stood at (col, row)
    double value;
  };
  static constexpr uint32_t kAbove = uint32_t{1} << 31U;

  static bool is_above(const Term& term) { return (term.order & kAbove) != 0; }
  int64_t line_of(const Term& term) const { return first_line_ + (term.order & ~kAbove); }
  static bool before(const Term& a, const Term& b);
  static bool same_place(const Term& a, const Term& b);
  const Term& later(const Term& a, const Term& b) const;
  Fault fault(const char* what, const Term& term, const Model& model) const;
  Fault drop_mirrors(const Model& model);

  // A queue does not hold everything twice while it grows.
  std::deque<Term> terms_;
  int64_t first_line_ = 0;
  size_t section_ = 0;  // where its terms begin
  MpsQuadraticKind kind_ = {};
  int32_t con_ = kObjective;
};

}  // namespace vorlan
