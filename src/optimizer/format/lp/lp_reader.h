// The reader of LP and PTF files.
#pragma once

#include <string>

#include "format/lp/lp_bounds.h"
#include "format/lp/lp_constraints.h"
#include "format/lp/lp_expressions.h"
#include "format/lp/lp_names.h"
#include "format/lp/lp_reading.h"
#include "format/lp/lp_sets.h"
#include "format/lp/ptf_sections.h"
#include "format/lp/ptf_solutions.h"

namespace vorlan {

// Reads a file in one pass over its tokens. The reader itself reads the opening line, the sense and
// the objective; then it finds one heading after the other and leaves each section to the part that
// knows it: constraints, bounds and lists, sets, the sections of PTF files, solutions. A section ends
// where the next heading begins, which only LpHeadings decides.
//
// The parts share an LpReading: the tokens, of which one at a time is at hand, and the model, to
// which everything is added as soon as it is read. What depends on later lines waits for finish():
// the rows become columns, quadratic terms and elements of matrices are put in order, doubtful
// variables are judged, encoded names are decoded.
//
// The first failure wins. Whoever finds one calls LpTokens::fail(), which keeps its text and place
// and ends the tokens, and returns false; every function above it returns false in turn. Warnings
// go through the tokens, too, since these know the line and the column.
class LpReader {
 public:
  // All are borrowed.
  LpReader(InputStream* input, const ReadLimits& limits, LpFormat format, ProblemFile* file,
           Warnings* warnings);

  Status read();

 private:
  // These return false after a failure, which the tokens then have.
  bool read_opening();
  bool read_sense();
  bool read_objective();
  bool read_sections();
  bool read_section(LpSection section);
  Status finish();
  void decode_names();

  std::string shown_name_;
  LpFormat format_;
  LpReading reading_;
  LpTokens& tokens_;
  LpExpressions expressions_;
  LpConstraints constraints_;
  LpBounds bounds_;
  LpSets sets_;
  PtfSections extended_sections_;
  PtfSolutions solutions_;
};

}  // namespace vorlan
