// A window on the content of a file that moves forward over it: what a reader has not used yet
// stays in one piece, so that a token or a line can be taken as it lies there. The window grows
// only as far as there are data to put into it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "file/input_stream.h"
#include "task/status.h"

namespace vorlan {

class ReadBuffer {
 public:
  // Large enough that system calls do not count, small enough to stay in the cache between the
  // kernel's copy and the parser.
  static constexpr size_t kUsualSize = size_t{256} << 10;

  explicit ReadBuffer(InputStream* input, size_t size = kUsualSize);

  // The bytes behind end(), this many, can be read and are '\0', so that a scan may go by vectors
  // and stop at a '\0' without a look at the bound.
  static constexpr size_t kPadding = 64;

  // The bytes at hand.
  const char* begin() const { return begin_; }
  const char* end() const { return end_; }
  size_t size() const { return static_cast<size_t>(end_ - begin_); }

  // The place of begin() in the content.
  uint64_t offset() const { return end_offset_ - size(); }

  // Gives up the first bytes; count <= size().
  void skip(size_t count) { begin_ += count; }
  // Gives up the last bytes at hand, as if the content did not have them; count <= size().
  void drop_last(size_t count);

  // Adds what comes next behind the bytes at hand; these may move. False at the end of the content
  // and after a failure: status() tells which. As many bytes as InputStream::longest_token() at
  // hand are a failure: nothing that makes sense is as long.
  bool more();

  // Puts the line of the bytes at hand, counted from 1, into the message of that failure. Nothing
  // happens after any other one.
  void tell_line(uint64_t line);

  // Makes at least `count` bytes available, as more() does.
  bool require(size_t count);

  // Reads the rest and drops it: whether a compressed content is whole shows only at its end.
  Status skip_rest();

  const Status& status() const { return status_; }
  const InputStream& input() const { return *input_; }

 private:
  Status too_long(const std::string& place) const;
  void make_room();
  void pad();

  InputStream* input_;
  std::unique_ptr<char[]> buffer_;
  size_t capacity_;  // without the padding
  char* begin_;
  char* end_;
  uint64_t end_offset_ = 0;
  bool at_end_ = false;
  bool too_long_ = false;
  Status status_;
};

}  // namespace vorlan
