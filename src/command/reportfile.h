// The output of the plain report: text is formatted into a buffer of bounded size and handed on to
// the file in large pieces.
#pragma once

#include <fmt/compile.h>
#include <fmt/format.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>

class ReportFile {
 public:
  /// Opens the file, or standard output for "-". If that fails, printing has no effect.
  explicit ReportFile(const char* filename) {
    if (std::strcmp(filename, "-") == 0) {
      out_ = &std::cout;
    } else {
      file_.open(filename);
    }
    buffer_.reserve(2 * piece_size);
  }
  ~ReportFile() { flush(); }
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;

  /// Formats with {fmt}; format is an FMT_COMPILE string, since rows are printed by the million.
  template <typename Format, typename... Args>
  void print(const Format& format, const Args&... args) {
    fmt::format_to(std::back_inserter(buffer_), format, args...);
    if (buffer_.size() >= piece_size) handon();
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
  static constexpr std::size_t piece_size = 65536;

  void handon() {
    out_->write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    buffer_.clear();
  }

  std::ofstream file_;
  std::ostream* out_ = &file_;
  fmt::memory_buffer buffer_;
};
