// expectedfilename.h - the splitting of a file name restated step by step, for comparison.
#pragma once

#include <string>

// A part as begin and length, so that the same text elsewhere in the name does not pass.
struct Range {
  int begin = 0;
  int length = 0;
};

struct Ranges {
  Range stem, format, compression;
};

// The steps one by one. Positions are ints, -1 is "not found".
inline Ranges expectedranges(const std::string& name) {
  const int n = static_cast<int>(name.size());
  const auto at = [&](int i) { return name[static_cast<std::size_t>(i)]; };
  if (n == 0) return {};

  int b = 0;
  for (int i = 0; i < n; ++i) {
    if (at(i) == '/') b = i + 1;
  }
  int d1 = -1;
  for (int i = 0; i < n; ++i) {
    if (at(i) == '.') d1 = i;
  }
  if (d1 == -1 || d1 <= b) return {{0, n}, {}, {}};

  const int k = d1 - b - 1 < b ? d1 - b - 1 : b;
  int d2 = -1;
  for (int i = 0; i <= k; ++i) {
    if (at(i) == '.') d2 = i;
  }
  if (d2 == -1) return {{0, d1}, {d1, n - d1}, {}};
  return {{0, d2}, {d2, d1 < n - d2 ? d1 : n - d2}, {d1, n - d1}};
}
