// The polyhedral relaxation of a model: a mixed-integer linear model that holds all of its points,
// made tighter by cuts.
//
// The first columns are the variables of the model. The elements of the matrix variables come next,
// and then the columns that make good cuts of the curved parts possible:
//
//   1/2 x'Qx of objective or constraint   with D + F'F = Q: w = F x, and r_i >= w_i^2 / 2 for each
//                                         row of F and the diagonal D (diagonal_part.h); the sum of r
//                                         takes the place of the quadratic terms
//   x0 >= |(x1, x2, ...)|                 2 r_i x0 >= x_i^2, sum of r <= x0 / 2
//   2 x0 x1 >= x2^2 + x3^2 + ...          2 r_i x1 >= x_i^2, sum of r <= x0
//   x0^w0 ... xk^wk >= |(...)|            a bound s on the norm, and r as of the quadratic cone
//
// Where the head of a cone is fixed, its r_i are those of squares. Where the members follow from
// switched variables, the norm's square is a form of these, with a diagonal part (norm_forms.h).
// Where the head is not fixed, and members follow from binary variables, these have cuts of their own
// (binary_norms.h), and where all do, no r. Where a binary variable z switches members off
// (switches.h), z makes the cuts stronger. The cuts of a square become those of r_i z >= w_i^2 / 2.
// The cut of a cone is lifted by its slack at the values that the members have while z is off, if its
// head, or all its heads, are known then.
//
// The class is large because every sort of curved part adds columns of its own and cuts in them, and all
// of these are columns and rows of one model. relaxation.cpp has the columns, relaxation_cuts.cpp the
// cuts; what does not touch the model has files of its own (canonical_cone.h, diagonal_part.h,
// switches.h).
//
// The linear constraints are made stronger by what binary variables imply (lifted_rows.h).
//
// Each r is cut by tangents of a function of two columns. The tangents of n such functions together
// say as much as exponentially many cuts of the whole norm would (J. P. Vielma, I. Dunning,
// J. Huchette, M. Lubin, Extended formulations in mixed integer conic quadratic programming, 2017).
#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "solve/backend.h"
#include "solve/outer/binary_norms.h"
#include "solve/outer/bound_propagation.h"
#include "solve/outer/canonical_cone.h"
#include "solve/outer/fixed_model.h"
#include "solve/outer/lifted_rows.h"
#include "solve/outer/switches.h"

namespace vorlan::outer {

using Terms = std::vector<std::pair<int32_t, double>>;  // (column, coefficient)

class Relaxation {
 public:
  using Row = LinearRow;

  // The model is convex: its continuous relaxation has been solved.
  explicit Relaxation(const MinimizeProblem& problem);

  // The relaxation as a model, a minimization, with the cuts so far.
  Model make_model() const;
  int32_t num_cuts() const { return num_cuts_; }
  size_t num_columns() const { return frame_.cost.size(); }

  // All columns at a point of the model.
  std::vector<double> lift(const std::vector<double>& x, const std::vector<double>& barx) const;
  // The matrix variables of a point of the relaxation.
  std::vector<double> matrix_elements(const std::vector<double>& columns) const;

  // The following return how many cuts are new.

  // What the multipliers of an optimum or of a proof of infeasibility say about the cones.
  int cut_by_duals(const BackendResult& result);
  // Tangents of the quadratic terms, and planes below norms of binary variables, at x.
  int cut_by_curvature(const std::vector<double>& x);
  // Tangents of the exponential cones whose second member is fixed, all along the values that the
  // others can have: what is on has other values than at the continuous optimum.
  int cut_along_exponentials();
  // Tangents of one cone, at the point of its boundary that belongs to the values of its members.
  int cut_cone_at(size_t cone, const std::vector<double>& x);
  // Cuts off a point of the relaxation, in all parts that it violates.
  int separate(const std::vector<double>& columns);
  // The same, but leaves members of norms and squares that fall short by no more than the share.
  int separate_worst(const std::vector<double>& columns, double share);

  size_t num_rows() const { return rows_.size(); }
  const Row& row(size_t k) const { return rows_[k]; }
  // Forgets the cuts, from a row on, that do not hold with equality at a point of the relaxation.
  void drop_loose_cuts(size_t first_row, const std::vector<double>& columns);

  // Forgets the cuts that a point of the model violates. There should be none; returns how many
  // there were.
  int drop_violated_cuts(const std::vector<double>& columns);

  // Tangents of the quadratic terms on both sides of a point, far enough from it that their slopes
  // are more than rounding.
  int cut_around(const std::vector<double>& columns);
  // Cuts off a direction in which the relaxation goes on for ever, but the model does not.
  int separate_ray(const std::vector<double>& direction);

  // The continuous model, in which binary variables that switch members of cones off make these
  // cones stronger. It has more variables than the model if there are such; its bound is one.
  Model perspective_model() const;
  // Whether cuts can be stronger than the continuous model.
  bool has_switched_parts() const;
  bool has_binary_norms() const { return !binary_norms_.empty(); }
  // The largest number of members in one norm that is cut member by member.
  size_t largest_norm() const;
  // The heads of cones whose members binary variables switch off. The larger such a head is known
  // to be at least, the stronger are the cuts.
  std::vector<int32_t> heads_to_bound() const;
  void raise_head_floor(int32_t head, double floor);

  // Learns a bound of the objective. Where the objective is the head of a cone, it bounds the head.
  void use_bound(double bound);
  // Adds the row that the objective is no less than the value, which must be known.
  void add_objective_floor(double value);
  // Takes integers out whose best point is known (find_assignment in fixed_model.h). Points with
  // them have at least the objective given, or do not exist where it is infinite; all others have at
  // least the bound. False where nothing is added: the row is there already, or a variable without
  // bounds cannot be told from its value by a row.
  bool settle_integers(const std::vector<double>& assignment, double objective, double bound);

 private:
  // r >= scale^2 x^2 / 2.
  struct Square {
    int32_t column;  // x
    double scale;
    int32_t r;
    bool integer;
    Switch off;  // of x
  };
  // The columns that a cone needs besides its members.
  struct ConeColumns {
    std::vector<int32_t> r;   // one for each member behind the norm; empty where none are needed
    int32_t norm = -1;        // s of a power cone
    size_t head = 0;          // the member in 2 r_i x_head >= x_i^2
    double fixed_head = 0.0;  // its value, where it is fixed: each r_i is that of a square then
    size_t first_square = 0;
    double head_floor = 0.0;  // the least value of the head, as far as it is known
    // The switch of all heads of an exponential or power cone, and their values while it is off.
    Switch off;
    std::vector<double> off_heads;
  };

  // A binary column that can be 1 only where a variable is within a range of its values.
  struct Indicator {
    int32_t column, var;
    double least, most;
  };
  // How far a point is from an assignment: 0 at it, and at least 1 at all others.
  struct Distance {
    std::map<int32_t, double> factors;
    double constant = 0.0;
  };

  int32_t add_column(double cost, double lower, double upper, VarKind kind);
  void add_row(double lower, double upper, Terms terms);
  // Makes bounds of the rows of one variable. Some formats have no bounds, only such rows.
  void make_bounds();
  void drop_free_rows();
  void add_matrix_elements(const MinimizeProblem& problem);
  // 1/2 x'Qx as a sum of columns.
  Terms add_quadratic_form(const std::vector<TriangleEntry>& entries, double factor);
  Terms add_quadratic_form(const std::vector<TriangleEntry>& entries, double factor,
                           const std::vector<TriangleEntry>& diagonal);
  std::pair<int32_t, double> add_square(Terms row);
  Switch common_switch(const Terms& row) const;
  void add_quadratic_rows();
  void add_cone(const Cone& cone);
  bool add_binary_norm(const CanonicalCone& cone);
  void add_norm_forms();
  void set_head(const CanonicalCone& cone, ConeColumns* columns) const;
  void set_off_heads(const CanonicalCone& cone, ConeColumns* columns) const;
  void add_norm_columns(double share, int32_t bound, const std::vector<Member>& tail,
                        ConeColumns* columns);

  // The switch of a rotated cone that is one square, at 0 while it is off; else none.
  Switch switch_of_square(size_t cone) const;
  // The bounds of a variable, and 0 where it is semi-continuous.
  std::pair<double, double> range(int32_t var) const;
  int32_t find_indicator(int32_t var, double least, double most);
  bool add_distance(int32_t var, double value, Distance* distance);
  bool add_distance_of_switch(int32_t var, bool on, Distance* distance);

  bool weaken(int32_t column, double* a, double* constant) const;
  // Adds terms >= rhs, scaled, without coefficients that are too small to matter; 1 if it is new.
  int add_cut(const Terms& terms, double rhs);
  // The same, made stronger by a switch: while it is off, the terms exceed rhs by at least the room.
  int add_lifted_cut(Terms terms, double rhs, double room, const Switch& off);
  int cut_square(const Square& square, double x);
  // 2 r_k x_head >= x_k^2 of one member, at the slope x_k / x_head.
  int cut_member(const ConeColumns& columns, int32_t head, size_t k, int32_t var, double slope);
  int separate_members(size_t cone, const std::vector<double>& columns, double share);
  int separate_norm(size_t cone, const std::vector<double>& columns, double share);
  int separate_squares(const std::vector<double>& columns, double least_share);
  Terms head_terms(const CanonicalCone& cone, double norm,
                   const std::vector<double>& columns) const;
  int cut_binary_norm(size_t k, const std::vector<double>& columns, bool if_violated);
  int separate_binary_norms(const std::vector<double>& columns);
  double head_floor(const ConeColumns& columns, int32_t head, const Switch& off) const;
  // The least value of a supporting plane of a cone while all heads of the cone are switched off.
  double room_of_plane(const CanonicalCone& cone, const ConeColumns& columns,
                       const Hyperplane& plane) const;
  // Where to touch the square, so that the tangent is strongest at a point of the relaxation.
  double touching_point(const Square& square, const std::vector<double>& columns) const;
  int separate_cones(const std::vector<double>& columns);
  int cut_cone(size_t cone, const std::vector<double>& point);
  int cut_along_exponential(size_t cone, const BoundPropagation& bounds);
  // 2 r_i x_head >= x_i^2 for all members, at the values given.
  int cut_norm(const ConeColumns& columns, int32_t head, double head_value,
               const std::vector<Member>& tail, const double* values);
  int cut_plane(const CanonicalCone& cone, const ConeColumns& columns, const Hyperplane& plane,
                int32_t last_column, double last_sign);
  int cut_matrices(const std::vector<double>& packed, double sign);
  int cut_by_vector(size_t first_column, const double* vector, size_t dimension);

  const Model& model_;
  RowView view_;
  Model frame_;  // columns alone
  std::vector<Row> rows_;
  std::vector<Square> squares_;
  std::vector<CanonicalCone> cones_;
  std::vector<ConeColumns> cone_columns_;
  std::vector<std::pair<size_t, BinaryNorm>> binary_norms_;  // each with its cone
  std::vector<size_t> packed_starts_;
  size_t first_element_ = 0;
  size_t first_cut_ = 0;             // the first row that is a cut
  int32_t objective_variable_ = -1;  // the variable that alone is the objective, if there is one
  // The columns w = F x, each with its row of F.
  std::vector<std::pair<int32_t, Terms>> products_;
  std::set<std::vector<int64_t>> known_cuts_;
  std::vector<Switch> switches_;  // by variable
  std::vector<Indicator> indicators_;
  std::set<size_t> settled_cones_;  // those that rows of squares stand for
  size_t largest_form_ = 0;         // the largest number of squares in the form of one norm
  int num_cuts_ = 0;
};

}  // namespace vorlan::outer
