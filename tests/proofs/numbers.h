// Rational numbers, and the functions that leave them: roots, exponentials and logarithms, each
// rounded to a rational on the side that its name says. GMP computes the former and MPFR the latter.
#pragma once

#include <gmpxx.h>

#include <vector>

namespace proofs {

using Rational = mpq_class;
using Point = std::vector<Rational>;

// Whole multiples of a power of two near x, whose arithmetic is quick.
Rational near(const Rational& x);

// Of x >= 0.
Rational root_above(const Rational& x);
Rational root_below(const Rational& x);

// Exponents from -10,000 to 10,000; outside of them exp_above() of the nearer end. A caller that needs
// the value above the upper end asks is_huge_exponent() first.
Rational exp_above(const Rational& x);
bool is_huge_exponent(const Rational& x);

// Of x > 0.
Rational log_below(const Rational& x);
Rational log_above(const Rational& x);

}  // namespace proofs
