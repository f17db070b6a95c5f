// A descriptor that log text is written to. Whatever becomes of it must not become of the solve:
//
// - A pipe or terminal whose reader is slow is waited for, but not long: text is then dropped, and
//   a line says how much as soon as there is room again. Where there is none until the end, standard
//   error is told.
// - A reader that went away ends nothing: what comes after is dropped.
// - A full disk, or a limit on a file's size, loses text: standard error is told, once.
#pragma once

#include <cstddef>
#include <string_view>

namespace vorlan {

class TextSink {
 public:
  TextSink() = default;
  ~TextSink() { close(); }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  // Takes the descriptor over, closing an earlier one.
  void open(int descriptor);
  void close();
  bool is_open() const { return descriptor_ >= 0; }

  // True when the descriptor leads to where standard error does.
  bool is_standard_error() const;

  void write(std::string_view text);

 private:
  // How many of the bytes were written until the seconds for it were over.
  size_t write_within(double seconds, std::string_view text);
  void tell_of_dropped(double seconds);
  void tell_of_lost_end();
  void note_failure(int error);

  int descriptor_ = -1;
  bool is_patient_ = true;     // the last text found room in time
  bool ends_line_ = true;      // what is written so far
  bool told_failure_ = false;  // on standard error
  bool reader_is_gone_ = false;
  size_t dropped_ = 0;
};

// Writes the text to standard error as far as the system takes it in a short time.
void write_to_standard_error(std::string_view text);

}  // namespace vorlan
