// Corrects a solution of a linear system by the best combination of a few Krylov vectors of its
// residual: GMRES with a factorization as preconditioner from the right (Y. Saad, M. Schultz, SIAM
// J. Sci. Stat. Comput. 7, 1986).
//
// Where the shift of a factorization changes only some directions much, these take a few vectors,
// while plain refinement would crawl.
#pragma once

#include <array>
#include <functional>
#include <span>
#include <vector>

namespace vorlan::conic {

class KrylovCorrection {
 public:
  // Multiplies by the matrix; replaces a vector by the preconditioner's solution.
  struct System {
    std::function<void(const std::vector<double>& x, std::vector<double>* out)> multiply;
    std::function<void(std::span<double> x)> precondition;
  };

  // Adds to the solution. `error` is the norm of its residual; vectors are made until they leave
  // clearly less than `target` of it. Returns the norm of what it leaves but for rounding.
  double apply(const System& system, const std::vector<double>& residual, double error,
               double target, std::vector<double>* solution);

 private:
  // A column of the Hessenberg matrix of the process, and what Givens rotations make of the whole.
  struct Projection {
    std::vector<std::array<double, 2>> rotations;
    std::vector<std::vector<double>> columns;  // of the triangular factor
    std::vector<double> right;
    bool append(std::vector<double> column);
  };
  double extend(const System& system, size_t k, std::vector<double>* column);

  // Vectors are kept for the next correction: large ones would be new pages each time.
  static constexpr size_t kMostVectors = 8;
  std::array<std::vector<double>, kMostVectors + 1> basis_;  // orthonormal
  std::array<std::vector<double>, kMostVectors> images_;     // of the basis, preconditioned
};

}  // namespace vorlan::conic
