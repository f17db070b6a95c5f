// Writing log text; see text_sink.h. Files are written with write(2), unbuffered.
#include "task/text_sink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "task/numeric.h"
#include "task/text.h"
#include "task/write_signals.h"

namespace vorlan {
namespace {

// A reader that takes nothing for so long is waited for no longer. A stop within half a second is
// promised, and a log is written in between.
constexpr double kPatienceSeconds = 0.1;
// A pipe takes pieces of this size whole or not at all (PIPE_BUF).
constexpr size_t kPiece = 4096;

double now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

bool is_regular(int descriptor) {
  struct stat status = {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// True when the descriptor has room before the moment comes. A regular file always has.
bool has_room(int descriptor, double end) {
  while (true) {
    const double seconds = std::max(0.0, end - now());
    pollfd room = {descriptor, POLLOUT, 0};
    const int ready = ::poll(&room, 1, static_cast<int>(1e3 * seconds));
    if (ready > 0) return true;
    if (ready == 0 || errno != EINTR || now() >= end) return false;
  }
}

// Up to a line's end, where the piece has one.
size_t piece_of(std::string_view text) {
  if (text.size() <= kPiece) return text.size();
  const size_t end = text.substr(0, kPiece).rfind('\n');
  return end == std::string_view::npos ? kPiece : end + 1;
}

// Writes until the time is over; 0, or the error that ended it.
int write_until(int descriptor, double end, std::string_view text, size_t* written) {
  const WriteSignals signals;
  *written = 0;
  while (*written < text.size()) {
    if (!has_room(descriptor, end)) return EAGAIN;
    const std::string_view rest = text.substr(*written);
    const ssize_t count = ::write(descriptor, rest.data(), piece_of(rest));
    if (count >= 0) {
      *written += index(count);
      continue;
    }
    if ((errno == EINTR || errno == EAGAIN) && now() < end) continue;
    signals.discard_raised();
    return errno;
  }
  return 0;
}

}  // namespace

void TextSink::open(int descriptor) {
  close();
  descriptor_ = descriptor;
  // The descriptor is the library's own: nobody else's writes change by this.
  if (!is_regular(descriptor)) {
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
  }
}

void TextSink::close() {
  if (descriptor_ < 0) return;
  if (dropped_ > 0) tell_of_dropped(kPatienceSeconds);
  if (dropped_ > 0 && !reader_is_gone_) tell_of_lost_end();
  ::close(descriptor_);
  descriptor_ = -1;
  is_patient_ = ends_line_ = true;
  told_failure_ = reader_is_gone_ = false;
  dropped_ = 0;
}

bool TextSink::is_standard_error() const {
  struct stat own = {};
  struct stat standard = {};
  return ::fstat(descriptor_, &own) == 0 && ::fstat(STDERR_FILENO, &standard) == 0 &&
         own.st_dev == standard.st_dev && own.st_ino == standard.st_ino;
}

void TextSink::write(std::string_view text) {
  if (descriptor_ < 0 || reader_is_gone_ || text.empty()) return;
  const double seconds = is_patient_ ? kPatienceSeconds : 0.0;
  if (dropped_ > 0) tell_of_dropped(seconds);
  if (dropped_ > 0) {
    dropped_ += text.size();
    return;
  }
  dropped_ = text.size() - write_within(seconds, text);
  is_patient_ = dropped_ == 0;
}

size_t TextSink::write_within(double seconds, std::string_view text) {
  size_t written = 0;
  const int error = write_until(descriptor_, now() + seconds, text, &written);
  if (error == EPIPE) reader_is_gone_ = true;
  if (error != 0 && error != EAGAIN && error != EPIPE) note_failure(error);
  if (written > 0) ends_line_ = text[written - 1] == '\n';
  return written;
}

// Clears dropped_ where there is room for the line that tells it.
void TextSink::tell_of_dropped(double seconds) {
  const std::string line =
      (ends_line_ ? "[" : "\n[") +
      counted(static_cast<int64_t>(dropped_), "byte of log text is dropped here: it",
              "bytes of log text are dropped here: they") +
      " could not be written in time]\n";
  if (write_within(seconds, line) < line.size()) return;
  dropped_ = 0;
  is_patient_ = true;
}

// Where no reader came, standard error is the place to say so.
void TextSink::tell_of_lost_end() {
  if (told_failure_ || is_standard_error()) return;
  write_to_standard_error(
      "The log is not complete: " +
      counted(static_cast<int64_t>(dropped_), "byte at its end could", "bytes at its end could") +
      " not be written in time\n");
}

void TextSink::note_failure(int error) {
  if (told_failure_) return;
  told_failure_ = true;
  write_to_standard_error(format_text(
      "The log is not complete, since it could not be written: %s\n", std::strerror(error)));
}

void write_to_standard_error(std::string_view text) {
  size_t written = 0;
  write_until(STDERR_FILENO, now() + kPatienceSeconds, text, &written);
}

}  // namespace vorlan
