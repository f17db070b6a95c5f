// SHA-256 and random names, by OpenSSL.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vorlan::server {

// SHA-256 of bytes that come piece by piece.
class Digest {
 public:
  Digest();
  ~Digest();
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;

  void add(std::string_view bytes);
  // 64 hexadecimal digits; nothing can be added afterwards.
  std::string finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

std::string sha256(std::string_view bytes);
// The digest of a file's content; nothing when it cannot be read.
std::optional<std::string> sha256_of_file(const std::string& path);

// Hexadecimal digits from the system's random source.
std::string random_hex(size_t bytes);

// Takes a time that does not tell where they differ.
bool equal_secrets(std::string_view a, std::string_view b);

}  // namespace vorlan::server
