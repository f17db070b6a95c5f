// Buffering and compression in front of a target file; see output_file.h.
#include "file/output_file.h"

#include <cerrno>
#include <cstring>
#include <span>

#include "task/text.h"

namespace vorlan {
namespace {

constexpr size_t kBufferSize = size_t{256} << 10;
constexpr size_t kEncodedSize = size_t{128} << 10;
// Of a stop within half a second, for results and for what is no result.
constexpr int kPatienceMilliseconds = 300;
constexpr int kHurryMilliseconds = 50;

}  // namespace

OutputFile::OutputFile() = default;
OutputFile::~OutputFile() = default;

Status OutputFile::open(const char* filename, std::string_view shown_name, Compression compression,
                        const StopRule& rule) {
  rule_ = rule;
  gives_up_pipe_ = rule.at_stop == AtStop::kHurry ? [] { return true; } : rule.asks_to_stop;
  shown_name_ = shown_name;
  buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
  end_ = buffer_.get();
  limit_ = end_ + kBufferSize;
  const Status status = make_encoder(compression, &encoder_);
  if (!status.ok()) return {status.code(), shown_name_ + ": " + status.message()};
  if (encoder_) encoded_ = std::make_unique_for_overwrite<char[]>(kEncodedSize);
  error_ = target_.open(filename, gives_up_pipe_);
  return failed() ? failure(Code::kErrFileOpen, "open") : Status();
}

Status OutputFile::finish() {
  write({buffer_.get(), static_cast<size_t>(end_ - buffer_.get())}, true);
  end_ = buffer_.get();
  if (failed()) {
    target_.abandon();
  } else {
    error_ = target_.commit();
  }
  return failed() ? failure(Code::kErrFileWrite, "write") : Status();
}

void OutputFile::append_slow(std::string_view bytes) {
  flush();
  if (bytes.size() > room()) return write(bytes, false);
  end_ += bytes.copy(end_, bytes.size());
}

void OutputFile::flush() {
  write({buffer_.get(), static_cast<size_t>(end_ - buffer_.get())}, false);
  end_ = buffer_.get();
}

void OutputFile::write(std::string_view bytes, bool last) {
  const bool may_stop = rule_.at_stop != AtStop::kFinish && rule_.asks_to_stop != nullptr;
  if (may_stop && !failed() && rule_.asks_to_stop()) error_ = ECANCELED;
  if (!encoder_) return write_raw(bytes);
  bool done = false;
  while (!done && !failed()) {
    std::span<char> room(encoded_.get(), kEncodedSize);
    done = encoder_->encode(&bytes, &room, last);
    write_raw({encoded_.get(), kEncodedSize - room.size()});
  }
}

void OutputFile::write_raw(std::string_view bytes) {
  if (failed() || bytes.empty()) return;
  const int patience = rule_.at_stop == AtStop::kHurry ? kHurryMilliseconds : kPatienceMilliseconds;
  error_ = write_all(target_.descriptor(), bytes, gives_up_pipe_, patience);
}

Status OutputFile::failure(Code code, const char* verb) const {
  return {code, format_text("cannot %s '%s': %s", verb, shown_name_.c_str(), cause())};
}

const char* OutputFile::cause() const {
  const bool is_pipe = gives_up_pipe_ && (error_ == ENXIO || error_ == EAGAIN);
  return is_pipe ? "nobody reads this pipe" : std::strerror(error_);
}

}  // namespace vorlan
