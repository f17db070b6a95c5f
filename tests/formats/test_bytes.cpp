// The bytes go through the same streams and encoders as the library's own.
#include "test_bytes.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>

#include "file/input_stream.h"

namespace vorlan::test {

Status read_input(const std::string& path, std::string* content, size_t piece) {
  content->clear();
  InputStream input;
  Status status = input.open(path.c_str(), path);
  if (!status.ok()) return status;
  std::string buffer(piece, '\0');
  while (true) {
    size_t count = 0;
    status = input.read(buffer.data(), buffer.size(), &count);
    if (!status.ok() || count == 0) return status;
    content->append(buffer, 0, count);
  }
}

std::string encoded(std::string_view content, Compression compression) {
  std::unique_ptr<Encoder> encoder;
  const Status status = make_encoder(compression, &encoder);
  if (!status.ok()) throw std::runtime_error(status.message());
  if (!encoder) return std::string(content);
  std::string result;
  std::array<char, 1000> buffer = {};
  bool done = false;
  while (!done) {
    std::span<char> room(buffer);
    done = encoder->encode(&content, &room, true);
    result.append(buffer.data(), buffer.size() - room.size());
  }
  return result;
}

std::string random_bytes(size_t count, uint32_t seed) {
  std::mt19937 generator(seed);
  std::string bytes(count, '\0');
  for (char& c : bytes) c = static_cast<char>(generator() & 0xff);
  return bytes;
}

int in_child(const std::function<int()>& function) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) ::_exit(function());
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) return -1;
  return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace vorlan::test
