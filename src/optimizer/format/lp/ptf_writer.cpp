// Writing PTF sections; see ptf_writer.h.
#include "format/lp/ptf_writer.h"

#include <algorithm>
#include <cmath>

#include "format/common/writer_words.h"
#include "format/lp/lp.h"
#include "format/lp/ptf_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {

bool PtfWriter::has_solutions(const ProblemView& problem) {
  return problem.with_solutions &&
         std::any_of(problem.solutions.begin(), problem.solutions.end(),
                     [](const Solution& solution) { return solution.defined; });
}

bool PtfWriter::is_needed(const ProblemView& problem) {
  return !problem.model.cones.empty() || !problem.model.matrix_vars.empty() ||
         !problem.parameters.empty() || has_solutions(problem);
}

void PtfWriter::write_head() {
  file_.append(kPtfOpening);
  file_.append('\n');
  if (model_.matrix_vars.empty()) return;
  file_.append("Matrix Variables\n");
  for (size_t i = 0; i < model_.matrix_vars.size(); ++i) {
    lines_.append(" ");
    lines_.append_matrix_variable(i);
    lines_.append(format_text("(%d)", model_.matrix_vars[i].dimension));
    lines_.end();
  }
}

void PtfWriter::write_sections() {
  write_cones();
  write_parameters();
  if (!problem_.with_solutions) return;
  for (size_t kind = 0; kind < problem_.solutions.size(); ++kind) {
    write_solution(problem_.solutions[kind],
                   ptf_word(kPtfSolutionKinds, static_cast<SolutionKind>(kind)));
  }
}

void PtfWriter::write_cones() {
  if (model_.cones.empty()) return;
  file_.append("Cones\n");
  for (size_t i = 0; i < model_.cones.size(); ++i) {
    const Cone& cone = model_.cones[i];
    lines_.append(" ");
    lines_.append_cone(i);
    lines_.append(": ");
    lines_.append(ptf_word(kPtfConeKinds, cone.kind));
    for (const double exponent : cone.exponents) {
      lines_.wrap();
      lines_.append_figures({exponent});
    }
    for (const int32_t var : cone.vars) {
      lines_.wrap();
      lines_.append(" ");
      lines_.append_variable(index(var));
    }
    lines_.end();
  }
}

void PtfWriter::write_parameters() {
  if (problem_.parameters.empty()) return;
  file_.append("Parameters\n");
  for (const ParameterSetting& setting : problem_.parameters) {
    lines_.append(' ' + encode_ptf_text(setting.name, PtfText::kName) + " = ");
    lines_.append(encode_ptf_text(setting.value, PtfText::kValue));
    lines_.end();
  }
}

void PtfWriter::write_solution(const Solution& solution, std::string_view kind) {
  if (!solution.defined) return;
  file_.append("Solution ");
  file_.append(kind);
  file_.append("\n problem ");
  file_.append(ptf_status(word_of(kProblemStatuses, solution.problem_status)));
  file_.append("\n status ");
  file_.append(ptf_status(word_of(kSolutionStatuses, solution.status)));
  file_.append('\n');
  lines_.append(" objective");
  lines_.append_figures({solution.primal_objective});
  lines_.end();
  if (!std::isnan(solution.dual_objective)) {
    lines_.append(" dual_objective");
    lines_.append_figures({solution.dual_objective});
    lines_.end();
  }
  write_figures_of_variables(solution);
  write_figures_of_constraints(solution);
  write_elements(solution);
}

void PtfWriter::write_figures_of_variables(const Solution& solution) {
  for (size_t var = 0; var < solution.xx.size(); ++var) {
    lines_.append(" variable ");
    lines_.append_variable(var);
    lines_.append(" = ");
    lines_.append(ptf_word(kPtfStatusKeys, solution.skx[var]));
    lines_.append_figures({solution.xx[var], solution.slx[var], solution.sux[var]});
    if (!solution.snx.empty()) lines_.append_figures({solution.snx[var]});
    lines_.end();
  }
}

void PtfWriter::write_figures_of_constraints(const Solution& solution) {
  for (size_t con = 0; con < solution.xc.size(); ++con) {
    lines_.append(" constraint ");
    lines_.append_constraint(con);
    lines_.append(" = ");
    lines_.append(ptf_word(kPtfStatusKeys, solution.skc[con]));
    lines_.append_figures(
        {solution.xc[con], solution.slc[con], solution.suc[con], solution.y[con]});
    lines_.end();
  }
}

// Elements that are zero with their duals are left out.
void PtfWriter::write_elements(const Solution& solution) {
  size_t at = 0;
  for (size_t i = 0; i < model_.matrix_vars.size() && at < solution.barx.size(); ++i) {
    const int64_t dimension = model_.matrix_vars[i].dimension;
    for (int64_t col = 0; col < dimension; ++col) {
      for (int64_t row = col; row < dimension && at < solution.barx.size(); ++row, ++at) {
        const double dual = at < solution.bars.size() ? solution.bars[at] : 0.0;
        if (is_plus_zero(solution.barx[at]) && is_plus_zero(dual)) continue;
        lines_.append(" element ");
        lines_.append_element_name(i, row, col);
        lines_.append(" =");
        lines_.append_figures({solution.barx[at], dual});
        lines_.end();
      }
    }
  }
}

}  // namespace vorlan
