// ReportFile is the output of the plain report. It formats text into a buffer of bounded size and
// hands the text on to the file in large pieces.
//
// Rows are printed by the million, and most of the time would go into a growing buffer's care for
// its length. So the room for a call's longest text is made first, and {fmt} then writes through a
// bare pointer.
#pragma once

#include <fmt/compile.h>
#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string_view>
#include <vector>

#include "number.h"
#include "quote.h"

class ReportFile {
 public:
  /// Opens the file, or standard output for "-". If that fails, printing has no effect.
  explicit ReportFile(const char* filename) {
    if (std::strcmp(filename, "-") == 0) {
      out_ = &std::cout;
    } else {
      file_.open(filename);
    }
  }
  ~ReportFile() { flush(); }
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;

  /// Formats with {fmt}. The format is an FMT_COMPILE string and pads no field to more than
  /// kWidestField columns.
  template <typename Format, typename... Args>
  void print(const Format& format, const Args&... args) {
    makeroom(fmt::string_view(format).size() + (longest(args) + ... + 0));
    end_ = fmt::format_to(end_, format, args...);
  }

  /// A line of its own, after which everything printed so far is in the file.
  void printtitle(std::string_view title) {
    print(FMT_COMPILE("{}\n"), title);
    flush();
  }

  /// Brings everything printed so far into the file. What follows may end the process through an
  /// uncaught exception, which runs no destructor.
  void flush() {
    handon();
    out_->flush();
  }

 private:
  static constexpr std::size_t kPieceSize = 65536;
  // Columns; also more than any number takes.
  static constexpr std::size_t kWidestField = 32;

  static constexpr std::size_t longest(std::int32_t /*integer*/) { return kWidestField; }
  static constexpr std::size_t longest(double /*real*/) { return kWidestField; }
  static constexpr std::size_t longest(number /*real*/) { return kWidestField; }
  static constexpr std::size_t longest(std::string_view text) { return text.size() + kWidestField; }
  // Each character may be escaped.
  static constexpr std::size_t longest(quote name) { return 2 * name.text.size() + kWidestField; }

  void makeroom(std::size_t size) {
    if (size <= static_cast<std::size_t>(limit_ - end_)) [[likely]] {
      return;
    }
    handon();
    if (size <= buffer_.size()) return;
    buffer_.resize(size);
    end_ = buffer_.data();
    limit_ = end_ + buffer_.size();
  }

  void handon() {
    out_->write(buffer_.data(), static_cast<std::streamsize>(end_ - buffer_.data()));
    end_ = buffer_.data();
  }

  std::ofstream file_;
  std::ostream* out_ = &file_;
  std::vector<char> buffer_ = std::vector<char>(kPieceSize);
  char* end_ = buffer_.data();
  char* limit_ = end_ + kPieceSize;
};
