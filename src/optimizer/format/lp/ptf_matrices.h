// The matrix variables of a PTF file, and their elements as the file names them: NAME(2,1) is the
// element in row 2 and column 1 of the symmetric matrix NAME.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "format/common/declared_memory.h"
#include "format/common/name_table.h"
#include "format/lp/lp_headings.h"
#include "format/lp/lp_terms.h"
#include "format/lp/lp_tokens.h"
#include "task/model.h"

namespace vorlan {

// An element, counted from 0.
struct PtfElement {
  int32_t matrix_var = 0, row = 0, col = 0;
};

class PtfMatrices {
 public:
  // All are borrowed. The limit is that of ReadLimits.
  PtfMatrices(LpTokens* tokens, Model* model, LpTerms* terms, int64_t declared_limit);

  // The functions that return bool return false after a failure, which the tokens then have.

  // The lines NAME(DIMENSION) of a section "Matrix Variables".
  bool read_section(const LpHeadings& headings);

  // The element that the word names, if its matrix variable is there. Its row and column may be
  // beyond the dimension.
  std::optional<PtfElement> find(std::string_view word) const;

  // Adds the term if the word names an element. Fails for what looks like an element of a matrix
  // variable that is not there.
  bool take_term(std::string_view word, int32_t con, double coefficient, bool* taken);

  // Counts this many elements of a solution towards the limit.
  bool declare(size_t num_elements);

 private:
  bool read_variable();
  bool check_no_element(std::string_view word);

  LpTokens& tokens_;
  Model& model_;
  LpTerms& terms_;
  NameTable table_;
  DeclaredMemory declared_;
};

}  // namespace vorlan
