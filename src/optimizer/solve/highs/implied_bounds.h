// Bounds of variables that the constraints imply, by looking at one constraint after the other.
#pragma once

#include <vector>

#include "task/model.h"

namespace vorlan {

// Starts from given bounds of the variables and looks at the linear part of the model.
class ImpliedBounds {
 public:
  ImpliedBounds(const Model& model, std::vector<double> lower, std::vector<double> upper)
      : model_(model), lower_(std::move(lower)), upper_(std::move(upper)) {}

  const std::vector<double>& lower() const { return lower_; }
  const std::vector<double>& upper() const { return upper_; }

  // Reads nothing of the constraints for which this is false: they have other terms.
  void use_rows(std::vector<bool> rows) { used_ = std::move(rows); }
  // One look at every constraint; bounds that depend on each other need some.
  void narrow();
  // Integer variables have whole bounds.
  void round_integers();
  // The least and the most that the linear part of a constraint can be, without one variable.
  double least_without(size_t con, size_t var, double coefficient) const;
  double most_without(size_t con, size_t var, double coefficient) const;
  // Sums up the constraints at the bounds as they are now.
  void sum_activities();

 private:
  // One end of a sum of intervals; it tells what is left when one of them is taken out.
  class IntervalEnd {
   public:
    void add(double term);
    double without(double term) const;
    // What rounding may have changed.
    double error() const;

   private:
    double sum_ = 0.0;
    double size_ = 0.0;  // of the terms that were summed
    int num_infinite_ = 0;
    double infinite_ = 0.0;
  };
  struct Activity {
    IntervalEnd least, most;
  };

  void narrow(size_t var, size_t con, double coefficient);

  const Model& model_;
  std::vector<double> lower_, upper_;
  std::vector<double> summed_lower_, summed_upper_;
  std::vector<Activity> activities_;
  std::vector<bool> used_;
};

}  // namespace vorlan
