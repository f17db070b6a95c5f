// Integers to try before the first round, from the continuous optimum: variables are fixed one after
// the other, and what follows from the linear constraints is fixed with them (fix and propagate).
//
// The continuous optimum of the interior-point method has few variables at whole values. Rounding
// it finds nothing where a constraint allows few binary variables to be on, since each of them is
// on by a small share there. Hence there is an order in which the largest come first and are on
// while the constraints allow it.
#pragma once

#include <functional>
#include <vector>

#include "task/model.h"

namespace vorlan::outer {

// Up to one point for each order of the variables. Continuous variables are as in the point. The
// linear model has the variables of the point, in this order, among its columns; integers of a
// point satisfy its constraints as far as propagation sees.
std::vector<std::vector<double>> first_points(const Model& linear, const std::vector<double>& x);
// The point that has the largest binary variables on; empty where propagation finds none.
std::vector<double> with_largest_rounded_up(const Model& linear, const std::vector<double>& x);

// The point whose integers are as small as its other variables allow, each in its own rows. An
// interior point has them larger than that where they cost nothing, so that their order says little
// of which are needed. Nothing where the linear constraints have no point.
std::vector<double> with_least_integers(const Model& linear, const std::vector<double>& x);

// The point whose largest binary variables, so many of them, are on and all others off, as far as
// the linear constraints allow; other integers are rounded up or down. Nothing where that is
// impossible. In many models more of them are feasible or fewer are, and a search finds how many.
std::vector<double> with_largest_on(const Model& linear, const std::vector<double>& x,
                                    size_t count);
size_t count_integers(const Model& linear, size_t num_variables);
// How many integers are on if the binary variables of a point are on by shares.
size_t count_on(const Model& linear, const std::vector<double>& x);

// A dive: fixes the largest binary variables of a point to 1, and the integers nearest to whole
// values, a few at a time, and has the continuous model solved again with these, or with fewer where
// that has no point. The function returns its optimum within bounds of the variables, or nothing where there is none. The result is
// a point whose integers are whole, or nothing.
using SolveWithin = std::function<std::vector<double>(const std::vector<double>& lower,
                                                      const std::vector<double>& upper)>;
std::vector<double> dive(const Model& linear, std::vector<double> x, const SolveWithin& solve);

}  // namespace vorlan::outer
