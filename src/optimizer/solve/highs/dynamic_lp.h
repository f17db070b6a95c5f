// A linear model that is solved again and again while bounds change and rows are added, each time by
// the dual simplex method from the last basis: what a tree of branch and bound needs.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "solve/highs/pair_substitution.h"
#include "task/model.h"

namespace vorlan {

class DynamicLp {
 public:
  enum class Answer {
    kOptimal,
    kInfeasible,
    kCutOff,  // the objective is above the cutoff
    kIterationLimit,
    kUnsolved  // unbounded, out of time, or failed
  };
  struct Basis;
  using BasisHandle = std::shared_ptr<const Basis>;

  // minimize cost_factor * cost'x, without constant, over a model of finite numbers. Its integer
  // variables are continuous here.
  DynamicLp(const Model& model, double cost_factor);
  ~DynamicLp();

  void set_bounds(int32_t var, double lower, double upper);
  void add_row(double lower, double upper, const std::vector<std::pair<int32_t, double>>& terms);

  // The cutoff is in terms of the model's objective, without the factor. The limit is one of
  // iterations, which a negative number lifts.
  Answer solve(double cutoff, int32_t limit, double seconds);

  // Of the last solve, in terms of the model's objective. The point and the reduced costs are
  // those of an optimum only.
  double objective() const;
  std::vector<double> x() const;
  double reduced_cost(int32_t var) const;

  // The basis of the last solve, and a return to it. Rows that are newer than it become basic.
  BasisHandle basis() const;
  void use_basis(const BasisHandle& basis);

  int64_t iterations() const { return iterations_; }  // of all solves

 private:
  Answer run_once();

  struct Solver;
  std::unique_ptr<Solver> solver_;
  PairSubstitution pairs_;
  double cost_factor_;
  double constant_ = 0.0;  // of the objective in terms of the columns
  int64_t iterations_ = 0;
};

}  // namespace vorlan
