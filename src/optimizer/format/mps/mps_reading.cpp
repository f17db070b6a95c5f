// Choosing between sets; see mps_reading.h.
#include "format/mps/mps_reading.h"

namespace vorlan {

bool MpsSet::takes(std::string_view set) {
  if (name_.empty()) name_ = set;
  if (set.empty() || set == name_) return true;
  reading_.warn_once(&said_, set, "only the first set '" + printable(name_) + "' is taken");
  return false;
}

}  // namespace vorlan
