// Opening, recognising and decompressing a file; see input_stream.h.
#include "file/input_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

#include "task/high_descriptor.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

// This is what libzstd recommends; a pipe gives 64 KiB at most at a time.
constexpr size_t kRawSize = size_t{128} << 10;

int open_for_reading(const char* filename) {
  int descriptor = -1;
  do {
    descriptor = ::open(filename, O_RDONLY | O_CLOEXEC | O_NOCTTY);
  } while (descriptor < 0 && errno == EINTR);
  return above_standard(descriptor);
}

// An own copy of the descriptor that a name such as /dev/fd/3 stands for: a socket, and a file that
// was opened with other rights, cannot be opened again by that name.
int copy_descriptor(const char* filename) {
  const std::string_view name(filename);
  if (name == "/dev/stdin") return copy_above_standard(STDIN_FILENO);
  const size_t slash = name.rfind('/');
  if (slash == std::string_view::npos) return -1;
  const std::string folder_name(name.substr(0, slash + 1));
  const Descriptor folder(::open(folder_name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder.is_open()) return -1;
  const int number = descriptor_in_folder(folder.get(), name.substr(slash + 1));
  return number < 0 ? -1 : copy_above_standard(number);
}

bool is_folder(int descriptor) {
  struct stat info = {};
  return ::fstat(descriptor, &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

InputStream::InputStream() = default;
InputStream::~InputStream() = default;

Status InputStream::open(const char* filename, std::string_view shown_name,
                         std::optional<Compression> compression) {
  shown_name_ = shown_name;
  Status status = open_descriptor(filename);
  if (status.ok()) status = fill_head();
  if (!status.ok()) return status;

  const Compression found = compression_of_content(raw_);
  compression_ = compression.value_or(found);
  if (compression && *compression != Compression::kNone && *compression != found && !raw_.empty()) {
    return {Code::kErrFileCompression, format_text("%s: these are not %s data", shown_name_.c_str(),
                                                   compression_name(compression_))};
  }
  // No compressed file is so short: what the name says is gone.
  if (!compression && found == Compression::kNone && raw_.size() < kCompressionHead) {
    compression_ = compression_of_name(filename);
  }
  status = make_decoder(compression_, &decoder_);
  return status.ok() ? status : Status(status.code(), shown_name_ + ": " + status.message());
}

Status InputStream::peek(size_t size, std::string_view* content) {
  ahead_.resize(size);
  size_t filled = 0;
  Status status;
  for (size_t count = 1; status.ok() && count > 0; filled += count) {
    status = read_content(ahead_.data() + filled, size - filled, &count);
  }
  ahead_.resize(filled);
  *content = ahead_;
  return status;
}

Status InputStream::read(char* buffer, size_t size, size_t* count) {
  if (ahead_used_ == ahead_.size()) return read_content(buffer, size, count);
  *count = std::string_view(ahead_).substr(ahead_used_).copy(buffer, size);
  ahead_used_ += *count;
  return {};
}

Status InputStream::read_content(char* buffer, size_t size, size_t* count) {
  *count = 0;
  if (size == 0) return {};
  return decoder_ ? read_decoded(buffer, size, count) : read_plain(buffer, size, count);
}

Status InputStream::open_descriptor(const char* filename) {
  if (std::string_view(filename) == "-") {
    descriptor_ = STDIN_FILENO;
  } else {
    int opened = open_for_reading(filename);
    const int error = errno;
    if (opened < 0 && (error == ENXIO || error == EACCES)) opened = copy_descriptor(filename);
    owned_ = Descriptor(opened);
    descriptor_ = opened;
    errno = error;
  }
  if (descriptor_ >= 0 && is_folder(descriptor_)) {
    errno = EISDIR;
    descriptor_ = -1;
  }
  if (descriptor_ >= 0) return {};
  const char* cause = std::strerror(errno);
  return {Code::kErrFileOpen, format_text("cannot open '%s': %s", shown_name_.c_str(), cause)};
}

// Replaces the used raw bytes by the next ones.
Status InputStream::fill_raw() {
  const ssize_t count = read_some(descriptor_, raw_buffer_.get(), kRawSize);
  if (count < 0) return read_failure(errno);
  raw_ = std::string_view(raw_buffer_.get(), static_cast<size_t>(count));
  raw_bytes_read_ += raw_.size();
  raw_end_ = count == 0;
  return {};
}

// Reads until the content can be recognised: a pipe may give single bytes.
Status InputStream::fill_head() {
  raw_buffer_ = std::make_unique_for_overwrite<char[]>(kRawSize);
  size_t filled = 0;
  while (filled < kCompressionHead && !raw_end_) {
    const ssize_t count = read_some(descriptor_, raw_buffer_.get() + filled, kRawSize - filled);
    if (count < 0) return read_failure(errno);
    filled += static_cast<size_t>(count);
    raw_end_ = count == 0;
  }
  raw_ = std::string_view(raw_buffer_.get(), filled);
  raw_bytes_read_ = filled;
  return {};
}

Status InputStream::read_plain(char* buffer, size_t size, size_t* count) {
  if (!raw_.empty()) {
    *count = raw_.copy(buffer, size);
    raw_.remove_prefix(*count);
    return {};
  }
  if (raw_end_) return {};
  const ssize_t got = read_some(descriptor_, buffer, size);
  if (got < 0) return read_failure(errno);
  *count = static_cast<size_t>(got);
  raw_end_ = got == 0;
  return {};
}

Status InputStream::read_decoded(char* buffer, size_t size, size_t* count) {
  std::span<char> room(buffer, size);
  while (!room.empty()) {
    if (raw_.empty() && !raw_end_) {
      if (room.size() < size) break;  // what there is may be enough; a pipe may take its time
      Status status = fill_raw();
      if (!status.ok()) return status;
    }
    const size_t room_before = room.size();
    const size_t raw_before = raw_.size();
    const char* cause = decoder_->decode(&raw_, &room);
    if (cause != nullptr) return data_failure(cause);
    const bool moved = room.size() < room_before || raw_.size() < raw_before;
    if (moved || !raw_end_) continue;
    if (!decoder_->complete()) return data_failure("they are cut short");
    break;
  }
  *count = size - room.size();
  return {};
}

Status InputStream::read_failure(int error) const {
  return {Code::kErrFileRead,
          format_text("cannot read '%s': %s", shown_name_.c_str(), std::strerror(error))};
}

Status InputStream::data_failure(const char* cause) const {
  const auto at = static_cast<unsigned long long>(raw_bytes_read_ - raw_.size());
  return {Code::kErrFileCompression,
          format_text("%s: bad %s data at byte %llu: %s", shown_name_.c_str(),
                      compression_name(compression_), at, cause)};
}

size_t longest_token(const Parameters& parameters) {
  return static_cast<size_t>(parameters.get(IntParam::kReadTokenLimit)) << 20;
}

}  // namespace vorlan
