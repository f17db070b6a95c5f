// The reader of LP and PTF files: one pass over the words. Expressions and constraints are in
// lp_reader.cpp, bounds and lists of variables in lp_reader_bounds.cpp, the sections that only PTF
// files have in ptf_reader.cpp.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "format/common/declared_memory.h"
#include "format/common/format.h"
#include "format/common/name_table.h"
#include "format/lp/lp_rows.h"
#include "format/lp/lp_terms.h"
#include "format/lp/lp_tokens.h"

namespace vorlan {

class LpReader {
 public:
  LpReader(InputStream* input, const ReadLimits& limits, bool may_extend, ProblemFile* file,
           Warnings* warnings);

  Status read();

 private:
  enum class Section : uint8_t {
    kNone,  // no heading
    kSense,
    kConstraints,
    kBounds,
    kGenerals,
    kBinaries,
    kSemi,
    kMatrixVariables,
    kCones,
    kParameters,
    kSolution,
    kForeign,
    kEnd,
  };
  struct Heading;
  static const Heading kHeadings[];

  // One side of a relation.
  struct Part {
    bool terms = false;
    bool said = false;   // anything at all
    bool alone = false;  // nothing but one item
    double constant = 0.0;
  };

  // A variable that may be a misspelt name or a unit: it stays only if it is somewhere else, too.
  struct Doubtful {
    int32_t var;
    LpPlace place;
    bool in_cone;  // else behind a number right of a relation
  };

  // How an expression ends at a line's end.
  enum class LineEnd : uint8_t { kGoesOn, kEnds, kEndsConstant };

  // What a word stands for in the bounds.
  enum class TargetKind : uint8_t { kVariable, kRange, kConstant };
  struct Target {
    TargetKind kind;
    int32_t index;
  };

  // These return false after a failure, which tokens_ then has.
  bool read_opening();
  bool read_sense();
  bool read_objective();
  bool read_sections();
  bool read_section(Section section);
  bool read_constraints();
  bool read_constraint();
  void look_ahead();
  bool read_label(int32_t con);
  bool finish_constraint(int32_t con, const Part& left, LpKind relation, const Part& right);
  bool close_constraint(int32_t con, double lower, double upper);
  bool read_expression(int32_t con, double factor, LineEnd line_end, Part* part);
  bool read_number_term(int32_t con, double sign, double factor, LineEnd line_end, Part* part);
  bool read_name_term(int32_t con, double coefficient, Part* part);
  bool check_behind_number();
  bool check_right_name(bool behind_number);
  bool check_brackets();
  bool check_heading();
  bool check_expression_end();
  bool check_line_end();
  void settle(std::string_view word);
  bool check_doubtful();
  std::string nearest_settled(std::string_view word) const;
  std::string nearest_variable(std::string_view word) const;
  std::string nearest_heading() const;
  bool read_quadratic(int32_t con, double factor);
  bool read_quadratic_term(int32_t con, double factor);
  bool read_factor(double* value);
  bool read_divisor(double* value);
  bool read_variable(int32_t* var);
  bool read_value(double* value);
  bool read_bounds();
  bool read_bound();
  bool find_target(Target* target);
  bool check_new_name(std::string_view word);
  void note_bound(const Target& target, LpKind relation);
  bool apply_bound(const Target& target, LpKind relation, double value);
  bool read_list(Section section);
  bool set_kind(Section section, int32_t var);

  bool read_matrix_variables();
  bool read_matrix_variable();
  bool take_element(std::string_view word, int32_t con, double coefficient, bool* taken);
  bool check_no_element(std::string_view word);
  bool find_element(std::string_view word, int32_t* matrix_var, int32_t* row, int32_t* col) const;
  bool read_cones();
  bool read_cone();
  bool read_parameters();
  bool read_solution();
  bool read_solution_item(Solution* solution);
  bool read_item(Solution* solution, std::string_view kind);
  static bool find_place(const NameTable& table, std::string_view word, size_t* place);
  bool find_element_place(std::string_view word, size_t* place) const;
  bool read_status_key(StatusKey* key);
  bool read_variable_figures(Solution* solution, size_t var);
  bool read_constraint_figures(Solution* solution, size_t con);
  bool starts_figure() const;
  bool read_figures(size_t count, double* values);
  bool prepare_solution(Solution* solution);

  Section heading();
  Section match_heading();
  bool starts_section();
  bool is_infinity_word() const;
  bool add_term(int32_t con, double coefficient, std::string_view word);
  bool add_helper(int32_t con, double coefficient, std::string_view word, bool* taken);
  bool add_variable(std::string_view word, int32_t* var);
  bool add_cost(int32_t var, double cost, std::string_view word);
  void add_constant(double value);
  double as_side(double value);
  void warn(std::string_view word, std::string_view what);
  Status finish();
  void decode_names();

  static constexpr int32_t kObjective = LpTerms::kObjective;

  // Flags of a variable.
  static constexpr uint8_t kHasCost = 1;
  static constexpr uint8_t kHasLower = 2;
  static constexpr uint8_t kHasUpper = 4;
  static constexpr uint8_t kInCone = 8;
  static constexpr uint8_t kSettled = 16;  // a doubtful one that is somewhere else, too
  // Flags of a constraint.
  static constexpr uint8_t kHasRange = 1;

  LpTokens tokens_;
  std::string shown_name_;
  bool may_extend_;
  ProblemFile* file_;
  Model* model_;
  Warnings* warnings_;

  NameTable var_table_, con_table_, matrix_var_table_, cone_table_;
  LpRows rows_;
  LpTerms terms_;

  bool extended_ = false, encoded_ = false, exact_ = false;
  bool has_constant_ = false, row_has_range_ = false;
  bool said_large_ = false;
  bool right_of_terms_ = false;       // the side at hand
  std::vector<Doubtful> doubtful_;    // the last one may be that of the side at hand
  std::vector<Doubtful> semicolons_;  // variables whose names end so
  std::string con_word_;              // of the constraint at hand
  std::vector<uint8_t> var_flags_;
  std::vector<uint8_t> con_flags_;                            // as long as needed
  std::vector<std::pair<int32_t, int64_t>> negative_uppers_;  // variable and line
  int64_t bound_line_ = 0;                                    // of the bound at hand
  DeclaredMemory declared_;           // by matrix variables and their solutions
  int64_t looked_at_ = 0;             // lines up to here by look_ahead()
  std::vector<size_t> matrix_start_;  // of each in barx and bars
};

}  // namespace vorlan
