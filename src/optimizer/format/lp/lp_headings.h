// The headings of the sections of LP and PTF files.
//
// A heading is a word or two that may stand anywhere in a line, and also where a name may stand. It
// is one unless what follows makes it a name: "st: x >= 1" is a constraint, "end <= 4" a bound.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "format/lp/lp_tokens.h"
#include "format/lp/lp_variables.h"

namespace vorlan {

enum class LpSection : uint8_t {
  kNone,  // no heading
  kConstraints,
  kBounds,
  kGenerals,
  kBinaries,
  kSemi,
  kSets,   // special ordered sets that say their kind
  kSets1,  // those of the heading's kind
  kSets2,
  kMatrixVariables,
  kCones,
  kParameters,
  kSolution,
  kForeign,  // of other programs, and not taken
  kEnd,
};

class LpHeadings {
 public:
  // Both are borrowed.
  LpHeadings(LpTokens* tokens, const LpVariables* variables)
      : tokens_(*tokens), variables_(*variables) {}

  // Lets the sections count, too, that only PTF files have.
  void allow_extended() { extended_ = true; }

  // The section whose heading the token begins.
  LpSection match() const;
  bool starts_section() const { return match() != LpSection::kNone; }
  // Finds the section and goes behind its heading. The text behind 'End' is not looked at.
  LpSection take();

  // Fails where a heading was most likely meant: a word at the margin that is no variable and looks
  // like a misspelt heading, or like one that needs an opening line that is not there.
  bool check_misspelt();
  // Says what a heading that the line at hand is nearest to would need; empty if it is near to
  // none.
  std::string nearest() const;
  // The same where nothing but a heading can stand: words of other languages count, too, and
  // headings with a ':' behind them.
  std::string advice() const;
  // True for the words of a heading, whatever follows them.
  static bool is_heading(std::string_view words);

 private:
  struct Heading;
  static const Heading kHeadings[];

  bool matches(const Heading& heading) const;
  bool ends_as_heading(const Heading& heading) const;

  LpTokens& tokens_;
  const LpVariables& variables_;
  bool extended_ = false;
};

}  // namespace vorlan
