// The state that the parts of the LP reader share: the tokens as they come, and the model as it
// grows.
#pragma once

#include "format/common/format.h"
#include "format/common/name_table.h"
#include "format/lp/lp_headings.h"
#include "format/lp/lp_numbers.h"
#include "format/lp/lp_terms.h"
#include "format/lp/lp_tokens.h"
#include "format/lp/lp_variables.h"
#include "format/lp/ptf_matrices.h"

namespace vorlan {

// Its members refer to each other, so that it stays where it was made.
struct LpReading {
  LpReading(InputStream* input, const ReadLimits& limits, ProblemFile* problem_file,
            Warnings* warning_list)
      : tokens(input, warning_list),
        file(*problem_file),
        model(problem_file->model),
        warnings(*warning_list),
        variables(&tokens, &model),
        con_table(&model.con_names),
        headings(&tokens, &variables),
        numbers(&tokens),
        matrices(&tokens, &model, &terms, limits.declared) {}
  LpReading(const LpReading&) = delete;
  LpReading& operator=(const LpReading&) = delete;

  LpTokens tokens;
  ProblemFile& file;
  Model& model;
  Warnings& warnings;
  LpVariables variables;
  NameTable con_table;
  LpHeadings headings;
  LpNumbers numbers;
  LpTerms terms;
  PtfMatrices matrices;
};

}  // namespace vorlan
