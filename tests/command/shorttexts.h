// shorttexts.h - every text over an alphabet up to a length, for tests that compare with a plain
// restatement of the rules.
#pragma once

#include <string>
#include <string_view>

template <typename Visit>
void foreachtext(std::string_view alphabet, std::size_t maxlength, const Visit& visit,
                 const std::string& begin = {}) {
  visit(begin);
  if (begin.size() == maxlength) return;
  for (const char c : alphabet) foreachtext(alphabet, maxlength, visit, begin + c);
}
