// The items of CBF files; see cbf_reader.h.
#include "format/cbf/cbf_reader.h"

#include <algorithm>
#include <iterator>

#include "format/cbf/cbf.h"
#include "format/cbf/cbf_words.h"
#include "format/common/nearest.h"
#include "task/text.h"

namespace vorlan {

const CbfReader::Item CbfReader::kItems[] = {
    {"VER", Group::kAnywhere, [](CbfReader* r) { return r->read_version(); }},
    {"OBJSENSE", Group::kAnywhere, [](CbfReader* r) { return r->read_sense(); }},
    {"POWCONES", Group::kStructure, [](CbfReader* r) { return r->structure_.read_power_cones(); }},
    {"POW*CONES", Group::kStructure,
     [](CbfReader* r) { return r->structure_.read_dual_power_cones(); }},
    {"PSDVAR", Group::kStructure,
     [](CbfReader* r) { return r->structure_.read_matrix_variables(); }},
    {"VAR", Group::kStructure, [](CbfReader* r) { return r->structure_.read_variables(); }},
    {"INT", Group::kStructure, [](CbfReader* r) { return r->structure_.read_integers(); }},
    {"PSDCON", Group::kStructure,
     [](CbfReader* r) { return r->structure_.read_matrix_constraints(); }},
    {"CON", Group::kStructure, [](CbfReader* r) { return r->structure_.read_constraints(); }},
    {"OBJFCOORD", Group::kCoordinates,
     [](CbfReader* r) { return r->coordinates_.read_objective_matrices(); }},
    {"OBJACOORD", Group::kCoordinates, [](CbfReader* r) { return r->coordinates_.read_costs(); }},
    {"OBJBCOORD", Group::kCoordinates,
     [](CbfReader* r) { return r->coordinates_.read_constant(); }},
    {"FCOORD", Group::kCoordinates,
     [](CbfReader* r) { return r->coordinates_.read_coefficient_matrices(); }},
    {"ACOORD", Group::kCoordinates,
     [](CbfReader* r) { return r->coordinates_.read_coefficients(); }},
    {"BCOORD", Group::kCoordinates, [](CbfReader* r) { return r->coordinates_.read_offsets(); }},
    {"HCOORD", Group::kCoordinates,
     [](CbfReader* r) { return r->coordinates_.read_matrix_rows(); }},
    {"DCOORD", Group::kCoordinates,
     [](CbfReader* r) { return r->coordinates_.read_matrix_offsets(); }},
    {"CHANGE", Group::kAnywhere, [](CbfReader* r) { return r->read_changes(); }},
    // A dialect has matrices of rank one.
    {"PSDVARRANK1", Group::kAnywhere, [](CbfReader* r) { return r->read_foreign(); }},
    {"PSDCONRANK1", Group::kAnywhere, [](CbfReader* r) { return r->read_foreign(); }},
};

namespace {

constexpr size_t kVersionItem = 0;
constexpr size_t kSenseItem = 1;

}  // namespace

Status CbfReader::read() {
  FieldLines& lines = reading_.lines;
  seen_.resize(std::size(kItems));
  if (!read_items() || !lines.ok() || !finish()) return lines.failure();
  return lines.finish();
}

bool CbfReader::read_items() {
  while (!ended_ && reading_.next_line()) {
    if (!read_item()) return false;
  }
  return true;
}

bool CbfReader::read_item() {
  const std::string_view word = reading_.lines.take_word();
  const auto* const item = std::find_if(std::begin(kItems), std::end(kItems),
                                        [word](const Item& i) { return i.word == word; });
  if (item == std::end(kItems)) {
    return reading_.lines.fail(word, "a keyword was expected", advice_on_capitals(kItems, word));
  }
  return begin_item(*item, word) && reading_.lines.expect_end() && item->read(this);
}

bool CbfReader::begin_item(const Item& item, std::string_view word) {
  const auto number = static_cast<size_t>(&item - kItems);
  if (!seen_[kVersionItem] && number != kVersionItem) {
    return reading_.lines.fail(word, "VER, with the version of the format, was expected first");
  }
  if (seen_[number]) return reading_.lines.fail(word, "a second item of this kind");
  seen_[number] = true;
  if (item.group == Group::kStructure && begun_) {
    return reading_.lines.fail(word, "an item of this kind must stand before all coordinates");
  }
  if (item.group == Group::kCoordinates) begin_coordinates();
  return true;
}

void CbfReader::begin_coordinates() {
  if (!begun_) coordinates_.begin();
  begun_ = true;
}

bool CbfReader::finish() {
  if (!seen_[kSenseItem]) {
    return reading_.lines.fail_line(
        format_text("the file ends here, without %s", seen_[kVersionItem] ? "OBJSENSE" : "VER"));
  }
  begin_coordinates();
  return coordinates_.finish();
}

bool CbfReader::read_version() {
  int32_t version = 0;
  return reading_.require_line("the version") &&
         reading_.lines.take_integer("a version of the format", 1, kCbfLastVersion, &version) &&
         reading_.lines.expect_end();
}

bool CbfReader::read_sense() {
  if (!reading_.require_line("MIN or MAX")) return false;
  const std::string_view word = reading_.lines.take_word();
  if (word != "MIN" && word != "MAX") return reading_.lines.fail(word, "MIN or MAX was expected");
  reading_.model.maximize = word == "MAX";
  return reading_.lines.expect_end();
}

// Further problems follow, told as changes of this one.
bool CbfReader::read_changes() {
  reading_.warnings.add(format_text(
      "%s:%lld: the problem before CHANGE is read, the changes are not",
      reading_.lines.shown_name().c_str(), static_cast<long long>(reading_.lines.line_number())));
  ended_ = true;
  return true;
}

bool CbfReader::read_foreign() {
  return reading_.lines.fail_line("an item of this kind cannot be taken: matrices of rank one");
}

// A file in small letters is told, too, so that the reader can say what is wrong with it.
bool is_cbf_first_word(std::string_view word) {
  constexpr std::string_view kVersion = "VER";
  return std::equal(word.begin(), word.end(), kVersion.begin(), kVersion.end(),
                    [](char a, char b) { return a == b || a == b - 'A' + 'a'; });
}

Status read_cbf(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                Warnings* warnings) {
  return CbfReader(input, limits, &file->model, warnings).read();
}

}  // namespace vorlan
