// The sections of special ordered sets of an LP file, in the two forms in which programs write them.
#pragma once

#include <cstdint>

#include "format/lp/lp_bounds.h"
#include "format/lp/lp_reading.h"

namespace vorlan {

class LpSets {
 public:
  // Both are borrowed.
  LpSets(LpReading* reading, LpBounds* bounds)
      : reading_(*reading), tokens_(reading->tokens), bounds_(*bounds) {}

  // Reads up to the next heading; the section is one of sets. False after a failure, which the
  // tokens then have.
  bool read(LpSection section);

 private:
  bool read_set(LpSection section);
  bool at_kind() const;
  bool at_member() const;
  bool read_kind(LpSection section, OrderedSet* set);
  bool read_member(OrderedSet* set);
  bool find_member(int32_t* var);
  bool read_count(const OrderedSet& set);

  LpReading& reading_;
  LpTokens& tokens_;
  LpBounds& bounds_;
};

}  // namespace vorlan
