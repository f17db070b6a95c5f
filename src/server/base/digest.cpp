// Digests by OpenSSL; see digest.h.
#include "base/digest.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <vector>

#include "base/files.h"

namespace vorlan::server {
namespace {

constexpr size_t kPiece = size_t{1} << 16;

std::string to_hex(const unsigned char* bytes, size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace

struct Digest::State {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  ~State() { EVP_MD_CTX_free(context); }
};

Digest::Digest() : state_(std::make_unique<State>()) {
  if (EVP_DigestInit_ex(state_->context, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("OpenSSL has no SHA-256");
  }
}
Digest::~Digest() = default;

void Digest::add(std::string_view bytes) {
  EVP_DigestUpdate(state_->context, bytes.data(), bytes.size());
}

std::string Digest::finish() {
  unsigned char value[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(state_->context, value, &length);
  return to_hex(value, length);
}

std::string sha256(std::string_view bytes) {
  Digest digest;
  digest.add(bytes);
  return digest.finish();
}

std::optional<std::string> sha256_of_file(const std::string& path) {
  const Descriptor file = open_for_reading(path);
  if (!file.valid()) return {};
  Digest digest;
  std::vector<char> piece(kPiece);
  for (;;) {
    const ssize_t got = read(file.get(), piece.data(), piece.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return {};
    if (got == 0) return digest.finish();
    digest.add({piece.data(), static_cast<size_t>(got)});
  }
}

std::string random_hex(size_t bytes) {
  std::vector<unsigned char> value(bytes);
  if (RAND_bytes(value.data(), static_cast<int>(bytes)) != 1) {
    throw std::runtime_error("the system gives no random numbers");
  }
  return to_hex(value.data(), bytes);
}

bool equal_secrets(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace vorlan::server
