// 256 bits are enough that a rounding is far below that of the doubles which are judged.
#include "numbers.h"

#include <mpfr.h>

namespace proofs {
namespace {

constexpr int kLargestExponent = 10000;

// Of a function that increases. The argument is rounded to the same side as the result.
template <class Function>
Rational rounded(Function function, const Rational& x, mpfr_rnd_t side) {
  constexpr mpfr_prec_t kBits = 256;
  mpfr_t value;
  mpfr_init2(value, kBits);
  mpfr_set_q(value, x.get_mpq_t(), side);
  function(value, value, side);
  Rational result;
  mpfr_get_q(result.get_mpq_t(), value);
  mpfr_clear(value);
  return result;
}

int unchanged(mpfr_t result, const mpfr_t x, mpfr_rnd_t side) { return mpfr_set(result, x, side); }

}  // namespace

Rational near(const Rational& x) { return rounded(unchanged, x, MPFR_RNDN); }
Rational root_above(const Rational& x) { return rounded(mpfr_sqrt, x, MPFR_RNDU); }
Rational root_below(const Rational& x) { return rounded(mpfr_sqrt, x, MPFR_RNDD); }

bool is_huge_exponent(const Rational& x) { return x > kLargestExponent; }

Rational exp_above(const Rational& x) {
  if (is_huge_exponent(x)) return rounded(mpfr_exp, kLargestExponent, MPFR_RNDU);
  if (x < -kLargestExponent) return rounded(mpfr_exp, -kLargestExponent, MPFR_RNDU);
  return rounded(mpfr_exp, x, MPFR_RNDU);
}

Rational log_below(const Rational& x) { return rounded(mpfr_log, x, MPFR_RNDD); }
Rational log_above(const Rational& x) { return rounded(mpfr_log, x, MPFR_RNDU); }

}  // namespace proofs
