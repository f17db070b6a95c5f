// The memory that a file asks for without having data for it: a few bytes can say that there are
// ten million variables, or a matrix variable of dimension 14,000. What is counted is what the
// parts of a model take in the model and in one solution of it.
#pragma once

#include <cstdint>
#include <string>

namespace vorlan {

// A cost, two bounds, a kind, the start of a column; a value, three duals and a status key.
inline constexpr int64_t kBytesOfVariable = 33 + 33;
// Two sides; a value, three duals and a status key.
inline constexpr int64_t kBytesOfConstraint = 16 + 33;
// An element of one triangle has a value and a dual.
inline constexpr int64_t kBytesOfMatrixElement = 16;

class DeclaredMemory {
 public:
  // The limit is in bytes; VLN_IPAR_READ_DECLARED_LIMIT is in MiB.
  explicit DeclaredMemory(int64_t limit) : limit_(limit) {}

  // False when this would be more than the limit, or more things than there are indices.
  bool add(int64_t count, int64_t bytes_each);

  // The failure's text.
  std::string message() const;

 private:
  int64_t limit_;
  int64_t bytes_ = 0;
  int64_t count_ = 0;
};

}  // namespace vorlan
