// The sections that PTF files have beyond LP files and that belong to the model or the task: cones
// and parameters. Matrix variables, which stand before the objective, are in ptf_matrices.h,
// solutions in ptf_solutions.h.
#pragma once

#include "format/lp/lp_expressions.h"
#include "format/lp/lp_reading.h"

namespace vorlan {

class PtfSections {
 public:
  // Both are borrowed.
  PtfSections(LpReading* reading, LpExpressions* expressions);

  // The functions return false after a failure, which the tokens then have.

  // Read up to the next heading.
  bool read_cones();
  bool read_parameters();

 private:
  bool read_cone();
  bool read_cone_name();
  bool read_cone_kind(Cone* cone);
  bool read_members(Cone* cone);
  bool read_parameter();

  LpReading& reading_;
  LpTokens& tokens_;
  LpExpressions& expressions_;
  NameTable cone_table_;
};

}  // namespace vorlan
