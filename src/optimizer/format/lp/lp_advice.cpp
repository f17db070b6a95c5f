// Telling typos from names; see lp_advice.h.
#include "format/lp/lp_advice.h"

namespace vorlan {
namespace {

struct TypoAdvice {
  char first;
  std::string_view text;
};
constexpr TypoAdvice kTypoAdvice[] = {
    {',', "a number has a point before its decimals and no comma"},
    {'_', "a number has no '_' between its digits"},
    {';', "a constraint ends without ';'"},
    {'(', "round brackets do not group terms, and a comment begins with '\\'"},
    {'#', "a comment begins with '\\'"},
    {'!', "a comment begins with '\\'"},
    {'"', "a number stands without quotes"},
    {'\'', "a number stands without quotes"},
    {'%', "a number has no unit"},
    {'$', "a number has no unit"},
    {'.', "a number has one point"},
    {'e', "an exponent needs digits"},
    {'E', "an exponent needs digits"},
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool begins_like_lp_name(std::string_view word) {
  const char c = word[0];
  const bool letter =
      (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
  return letter || (c == '_' && (word.size() == 1 || !is_digit(word[1])));
}

std::string_view advice_on_typo(std::string_view word) {
  for (const TypoAdvice& advice : kTypoAdvice) {
    if (advice.first == word[0]) return advice.text;
  }
  return "a number or a variable was expected";
}

}  // namespace vorlan
