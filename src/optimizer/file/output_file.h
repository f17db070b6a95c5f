// A file as it is written: bytes, text and numbers go into a buffer, through the compression that
// was chosen, to a file that takes its target's place when finish() is called and all went well. A
// failure is remembered and told there, once; until then nothing needs to be checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "file/compression.h"
#include "file/numbers.h"
#include "file/target_file.h"
#include "task/status.h"
#include "task/stop_question.h"

namespace vorlan {

// What becomes of a file that is written while something may ask to stop.
enum class AtStop {
  kFinish,  // it is written to its end, but a pipe that nobody reads is given up
  kGiveUp,  // it is given up at once
  kHurry    // the same, and a pipe that nobody reads is not waited for before that either
};

struct StopRule {
  StopQuestion asks_to_stop;
  AtStop at_stop = AtStop::kFinish;
};

class OutputFile {
 public:
  OutputFile();
  // The file is given up without finish(): an earlier file stays, nothing is left behind.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // "-" has no meaning of its own here. shown_name is what messages call the file.
  [[nodiscard]] Status open(const char* filename, std::string_view shown_name,
                            Compression compression, const StopRule& rule = {});

  void append(std::string_view bytes) {
    if (bytes.size() > room()) return append_slow(bytes);
    end_ += bytes.copy(end_, bytes.size());
  }
  void append(char c) {
    if (room() == 0) flush();
    *end_++ = c;
  }
  // Appends the shortest form that reads back to the same bits.
  void append_number(double value) {
    if (room() < kLongestNumber) flush();
    end_ = format_double(value, end_);
  }
  void append_integer(int64_t value) {
    if (room() < kLongestNumber) flush();
    end_ = format_int64(value, end_);
  }

  // True once something went wrong: what is appended from there on is dropped, so that a long
  // computation of it can be spared.
  bool failed() const { return error_ != 0; }

  // Writes what is left and puts the file into its place.
  [[nodiscard]] Status finish();

 private:
  size_t room() const { return static_cast<size_t>(limit_ - end_); }
  void append_slow(std::string_view bytes);
  void flush();
  void write(std::string_view bytes, bool last);
  void write_raw(std::string_view bytes);
  Status failure(Code code, const char* verb) const;
  const char* cause() const;

  std::string shown_name_;
  StopRule rule_;
  StopQuestion gives_up_pipe_;
  TargetFile target_;
  std::unique_ptr<Encoder> encoder_;
  std::unique_ptr<char[]> buffer_, encoded_;
  char* end_ = nullptr;
  char* limit_ = nullptr;
  int error_ = 0;
};

}  // namespace vorlan
