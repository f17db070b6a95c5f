// Finding rows and numbers; see mps_entries.h.
#include "format/mps/mps_entries.h"

#include "file/numbers.h"

namespace vorlan {

Status MpsEntries::find(const MpsLine& line, unsigned dialect) {
  entries_.clear();
  for (size_t i = 0; i < line.rest.size(); i += 2) {
    MpsEntry entry = {};
    entry.name = line.rest[i];
    Status status = rows_.find(entry.name, &entry.row);
    if (!status.ok()) return status;
    const std::string_view number =
        i + 1 < line.rest.size() ? line.rest[i + 1] : std::string_view();
    status = find_number(number, dialect, &entry.number);
    if (!status.ok()) return status;
    entries_.push_back(entry);
  }
  if (entries_.size() > kUsualPairs) {
    reading_.warn_once(&said_third_pair_, line.rest[2 * kUsualPairs],
                       "more than two pairs of a name and a number in a line, all are taken");
  }
  return {};
}

Status MpsEntries::find_number(std::string_view word, unsigned dialect, RangeValue* number) {
  if (parse_range(word, dialect, number)) return {};
  if (!parse_range(word, dialect | kFortranExponents, number)) {
    return reading_.text.error(word, "a number was expected");
  }
  reading_.warn_once(&said_fortran_, word, "the D of the number is taken as an E");
  return {};
}

}  // namespace vorlan
