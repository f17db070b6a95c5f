// The moving window; see read_buffer.h.
#include "file/read_buffer.h"

#include <cstring>

#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {

ReadBuffer::ReadBuffer(InputStream* input, size_t size)
    : input_(input),
      buffer_(std::make_unique_for_overwrite<char[]>(size + kPadding)),
      capacity_(size),
      begin_(buffer_.get()),
      end_(begin_) {
  pad();
}

void ReadBuffer::drop_last(size_t count) {
  end_ -= count;
  pad();
}

bool ReadBuffer::more() {
  if (at_end_) return false;
  if (size() >= input_->longest_token()) {
    status_ = too_long("");
    at_end_ = too_long_ = true;
    return false;
  }
  make_room();
  const size_t room = static_cast<size_t>(buffer_.get() + capacity_ - end_);
  size_t count = 0;
  status_ = input_->read(end_, room, &count);
  end_ += count;
  pad();
  end_offset_ += count;
  at_end_ = count == 0;
  return !at_end_;
}

Status ReadBuffer::too_long(const std::string& place) const {
  return {Code::kErrFileContent,
          format_text("%s%s: a line or a text of more than %zu MiB, which is %s",
                      input_->shown_name().c_str(), place.c_str(), input_->longest_token() >> 20,
                      name_of(IntParam::kReadTokenLimit))};
}

void ReadBuffer::tell_line(uint64_t line) {
  if (too_long_) status_ = too_long(format_text(":%llu", static_cast<unsigned long long>(line)));
}

bool ReadBuffer::require(size_t count) {
  while (size() < count) {
    if (!more()) return false;
  }
  return true;
}

Status ReadBuffer::skip_rest() {
  do {
    skip(size());
  } while (more());
  return status_;
}

void ReadBuffer::pad() { std::memset(end_, 0, kPadding); }

// Bytes are moved to the front only when at least as many were given up since, and copied to a
// buffer of twice the size only when they fill this one: the whole costs linear time.
void ReadBuffer::make_room() {
  char* const front = buffer_.get();
  const size_t kept = size();
  if (kept <= static_cast<size_t>(begin_ - front)) {
    std::memmove(front, begin_, kept);
    begin_ = front;
    end_ = front + kept;
  }
  if (end_ < front + capacity_) return;
  const size_t doubled = 2 * capacity_;
  auto larger = std::make_unique_for_overwrite<char[]>(doubled + kPadding);
  std::memcpy(larger.get(), begin_, kept);
  buffer_ = std::move(larger);
  capacity_ = doubled;
  begin_ = buffer_.get();
  end_ = begin_ + kept;
}

}  // namespace vorlan
