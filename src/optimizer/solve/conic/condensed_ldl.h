// Factorization K = L D L' of a quasi-definite matrix whose nodes have few neighbours in the main.
//
// The variables of a linear model are such nodes: each has its bounds on the diagonal and is a
// neighbour of a few equations only, and so are the slacks and residuals of other models. Nodes that
// are no neighbours of each other are eliminated first, all in one sweep (static condensation), which
// leaves a matrix of the others. That takes the same steps as their turn in an order for little fill
// would, but needs neither an order of these nodes nor a tree over them, and goes through memory once.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solve/conic/sparse_ldl.h"

namespace vorlan::conic {

class CondensedLdl {
 public:
  // Chooses the nodes eliminated first, from the candidates, and the order of the others. Those of
  // `last`, none of which is a candidate, come last in the order given, as in SparseLdl.
  void analyze(const UpperTriangle& matrix, std::span<const int32_t> candidates,
               std::span<const int32_t> last);

  void set_pivot_rule(const PivotRule& rule);
  void use(const DenseAlgebra* algebra) { rest_.use(algebra); }

  // As those of SparseLdl.
  MatrixView taken_off() { return rest_.taken_off(); }
  ConstMatrixView taken_off() const { return rest_.taken_off(); }
  void factor(const UpperTriangle& matrix, std::span<const int8_t> signs);
  void solve(std::span<double> rhs) const;
  int64_t num_elements() const;
  double num_multiplications() const { return rest_.num_multiplications(); }
  int32_t dense_order() const { return rest_.dense_order(); }
  bool has_supernodes() const { return rest_.has_supernodes(); }
  bool is_dissected() const { return rest_.is_dissected(); }
  const std::vector<int32_t>& replaced() const { return replaced_; }

  // How many nodes are eliminated first.
  int32_t num_condensed() const { return static_cast<int32_t>(pivot_.size()); }

 private:
  // Nodes with few neighbours, each with its own diagonal element and then those beside it.
  struct FewNeighbours {
    std::vector<int32_t> nodes;
    std::vector<int64_t> start;
    std::vector<int32_t> neighbour;
    std::vector<int32_t> element;  // of the matrix
  };
  static FewNeighbours find_few(const UpperTriangle& matrix, std::span<const int32_t> candidates);
  static std::vector<size_t> choose_condensed(const FewNeighbours& few, int32_t order);
  void take_columns(const FewNeighbours& few, const std::vector<size_t>& chosen,
                    const UpperTriangle& matrix);
  UpperTriangle pattern_of_rest(const UpperTriangle& matrix);
  void condense(std::span<const int8_t> signs);

  std::vector<int32_t> node_of_;  // of each node of the rest, that in the matrix
  std::vector<int32_t> place_;    // of each node in the rest, or ~place among the condensed ones
  // The condensed nodes' columns: the diagonal element, then those beside it, by places in the rest.
  std::vector<int32_t> condensed_;
  std::vector<int64_t> start_;
  std::vector<int32_t> row_;
  std::vector<double> value_;
  std::vector<double> pivot_;
  // Where each element of the matrix goes: among the values of the rest, or ~place in value_.
  std::vector<int32_t> target_;
  // Where the products of two elements of a column go in the rest, by columns.
  std::vector<int32_t> product_target_;

  SparseLdl rest_;
  PivotRule pivot_rule_;
  std::vector<int8_t> rest_signs_;
  std::vector<int32_t> replaced_;
  mutable std::vector<double> work_, first_;
};

}  // namespace vorlan::conic
