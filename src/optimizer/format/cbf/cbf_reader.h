// The reader of CBF files.
#pragma once

#include <string_view>
#include <vector>

#include "format/cbf/cbf_coordinates.h"
#include "format/cbf/cbf_reading.h"
#include "format/cbf/cbf_structure.h"

namespace vorlan {

// Reads a file item by item: a keyword alone in its line, then as many lines as the item's first
// one announces. The table kItems says which part reads an item: the structure (what variables,
// constraints and cones there are), the coordinates (their numbers), or the reader itself. Each
// item may stand once, the structure before all coordinates. When the first coordinates come, or
// the file ends, the structure is complete and gets its helpers.
//
// The parts share a CbfReading with the lines, which are taken apart field by field. A function
// that finds a failure calls FieldLines::fail(), which keeps text and place, and returns false;
// every function above it returns false in turn.
class CbfReader {
 public:
  // All are borrowed.
  CbfReader(InputStream* input, const ReadLimits& limits, Model* model, Warnings* warnings)
      : reading_(input, limits, model, warnings) {}

  Status read();

 private:
  enum class Group : uint8_t { kAnywhere, kStructure, kCoordinates };
  struct Item {
    std::string_view word;
    Group group;
    bool (*read)(CbfReader*);
  };
  static const Item kItems[];

  // These return false after a failure, which the lines then have.
  bool read_items();
  bool read_item();
  bool begin_item(const Item& item, std::string_view word);
  void begin_coordinates();
  bool finish();
  bool read_version();
  bool read_sense();
  bool read_changes();
  bool read_foreign();

  CbfReading reading_;
  CbfStructure structure_{&reading_};
  CbfCoordinates coordinates_{&reading_, &structure_};
  std::vector<bool> seen_;  // by item
  bool begun_ = false;      // the coordinates
  bool ended_ = false;
};

}  // namespace vorlan
