// Branch and bound over the linear relaxation with lazy cuts: one tree, in which cuts are added where
// a node's point violates the model, and integers of whole points are tried at once.
//
//   I. Quesada, I. E. Grossmann, An LP/NLP based branch and bound algorithm for convex MINLP
//   optimization problems, Computers and Chemical Engineering 16, 1992.
//   T. Achterberg, T. Koch, A. Martin, Branching rules revisited, Operations Research Letters 33,
//   2005.
//
// Rounds that solve the relaxation to its end build a whole tree for a few new cuts each time. This
// tree goes on instead. It has no presolve and no cuts for integers, so that models without many
// curved parts are better off with the rounds.
//
// Its many members are the open nodes, what branching has learnt of each variable, and counters; a node
// needs all of them together.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "solve/highs/dynamic_lp.h"
#include "solve/outer/inner_solver.h"
#include "solve/outer/integer_trials.h"
#include "solve/outer/optimum_bounds.h"
#include "solve/outer/relaxation.h"
#include "task/parameters.h"

namespace vorlan::outer {

// The bound at which an integer variable stays in all points of a minimization whose objective is
// less than that of a linear optimum plus the room; NaN where it may leave. x and the reduced cost
// are those of the optimum: the objective of every other point exceeds it by at least what a
// variable moves times its reduced cost (H. Crowder, E. L. Johnson, M. Padberg, Solving large-scale
// zero-one linear programming problems, Operations Research 31, 1983).
double bound_to_stay_at(double x, double lower, double upper, double reduced_cost, double room);

class TreeSearch {
 public:
  TreeSearch(double objective_factor, InnerSolver* solver, OptimumBounds* bounds,
             IntegerTrials* trials, Relaxation* relaxation, const Parameters& parameters);

  // Whether the relaxation is one that the tree can search: all integers bounded, nothing
  // semi-continuous.
  static bool suits(const Model& model);
  // Whether a linear relaxation of the model gains by presolve and by cuts for integers, which the
  // tree does without.
  static bool gains_by_rows(const Model& model);

  enum class End {
    kDone,       // every node is settled: nothing is better than the incumbent and the cutoff
    kStopped,    // by a limit, or because incumbent and bound have met
    kUnresolved  // what is left are nodes that the search cannot settle
  };
  // Searches until nothing is left, or a limit is reached, which it asks for at every node.
  End run(const std::function<bool()>& is_over);

 private:
  struct Change {
    int32_t var;
    double lower, upper;
  };
  struct Node {
    double bound;
    std::vector<Change> path;  // from the root
    DynamicLp::BasisHandle basis;
    int basis_age = 0;      // the linear model that the basis is of
    int32_t branched = -1;  // the variable of the last change
    double distance = 0.0;  // by which the change moved it
    bool up = false;
  };
  static bool has_larger_bound(const Node& a, const Node& b) { return a.bound > b.bound; }
  // What came of a node: the point to branch at, or nothing to branch.
  enum class Outcome { kBranch, kSettled, kStopped };

  // How much the bound rises for each unit by which a variable is moved.
  struct PseudoCost {
    double sum[2] = {0.0, 0.0};  // down, up
    int count[2] = {0, 0};
  };

  void build();
  bool pull_rows();
  void enter(const Node& node);
  Outcome solve_node(Node* node, bool is_root);
  Outcome look_at_whole_point(Node* node, bool* again);
  void branch(const Node& node);
  int32_t priority(int32_t var) const;
  int32_t choose_variable(const DynamicLp::BasisHandle& basis);
  void probe_both(int32_t var, const DynamicLp::BasisHandle& basis);
  int32_t choose_open() const;
  double probe(int32_t var, bool up, const DynamicLp::BasisHandle& basis);
  double score(int32_t var, double x) const;
  void learn(const Node& node, double objective);
  void try_first_points();
  double room_above(double objective) const;
  void fix_by_reduced_costs();
  void fix_below(Node* node) const;
  void raise_global_bound(double now);
  double cutoff() const;
  Node take_best();

  double objective_factor_;
  InnerSolver* solver_;
  OptimumBounds* bounds_;
  IntegerTrials* trials_;
  Relaxation* relaxation_;
  bool cuts_points_;  // those that are not whole, too
  std::unique_ptr<DynamicLp> lp_;
  std::vector<int32_t> integers_;
  std::vector<int32_t> priorities_;              // of the first columns
  std::vector<double> root_lower_, root_upper_;  // of all columns
  std::vector<double> lower_, upper_;            // at the node that the linear model is at
  std::vector<double> point_;  // the optimum of the node's linear model, and its objective
  double objective_ = -kInfinity;
  std::vector<double> root_x_, root_reduced_costs_;
  double root_objective_ = -kInfinity;
  std::vector<PseudoCost> costs_;
  PseudoCost average_;
  std::vector<Node> open_;  // a heap, the least bound first
  std::vector<Node> next_;  // the child to dive into, if any
  size_t rows_in_lp_ = 0;
  size_t rows_at_build_ = 0;
  int age_ = 0;
  int64_t spent_ = 0;  // iterations of linear models that are no more
  int64_t counted_ = 0;
  size_t first_cut_ = 0;           // the first row that is a cut of the tree
  double unresolved_ = kInfinity;  // the least bound of nodes that could not be settled
};

}  // namespace vorlan::outer
