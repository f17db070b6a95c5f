// Writing the sections that PTF files have beyond LP files.
#pragma once

#include <string_view>

#include "file/output_file.h"
#include "format/common/format.h"
#include "format/lp/lp_lines.h"

namespace vorlan {

class PtfWriter {
 public:
  // All are borrowed. The lines write into the file.
  PtfWriter(const ProblemView* problem, LpLines* lines, OutputFile* file)
      : problem_(*problem), model_(problem->model), lines_(*lines), file_(*file) {}

  // True if the problem has anything that an LP file does not have.
  static bool is_needed(const ProblemView& problem);
  // True if solutions are written.
  static bool has_solutions(const ProblemView& problem);

  // The opening line and the matrix variables, which come before the objective.
  void write_head();
  // Writes the sections that come behind the lists of variables.
  void write_sections();

 private:
  void write_cones();
  void write_parameters();
  void write_solution(const Solution& solution, std::string_view kind);
  void write_figures_of_variables(const Solution& solution);
  void write_figures_of_constraints(const Solution& solution);
  void write_elements(const Solution& solution);

  const ProblemView& problem_;
  const Model& model_;
  LpLines& lines_;
  OutputFile& file_;
};

}  // namespace vorlan
