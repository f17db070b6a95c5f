// Models whose optimum is known, and what a solve of one is worth.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "cone_points.h"
#include "mixed_solve.h"
#include "solve/check/sparse_columns.h"
#include "task/model.h"

namespace vorlan::test {

// A model by rows, as it is written down.
class Builder {
 public:
  int32_t add(double cost, double lower, double upper, VarKind kind = VarKind::kContinuous);
  int32_t add_binary(double cost = 0.0) { return add(cost, 0.0, 1.0, VarKind::kInteger); }
  int32_t add_row(double lower, double upper, const std::vector<std::pair<int32_t, double>>& terms);
  Model& model() { return model_; }
  Model make();

 private:
  Model model_;
  std::vector<MatrixElement> elements_;
};

struct Known {
  Model model;
  double optimum = 0.0;
};

// Rows, columns and costs each multiplied by a power of two of their own. Columns of cones and of
// quadratic terms, whose scale the unit is, and of integers stay.
void scale_at_random(Known* known, Random* random);

// Anything that contradicts the known optimum is wrong: a bound on its wrong side, a point that is
// better, an optimum that is another one, an integer that is none.
enum class Verdict { kRight, kWrong, kUnsolved };
Verdict judge(const Known& known, const MixedSolve& mixed);

// Makes models of each size by so many seeds, every second one scaled at random, solves them and
// expects the right verdict. VORLAN_RANDOM_MODELS and VORLAN_RANDOM_FIRST choose other seeds.
using MakeKnown = std::function<Known(double size, Random* random)>;
void expect_right_answers(const std::vector<double>& sizes, const MakeKnown& make);

}  // namespace vorlan::test
