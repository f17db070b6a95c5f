// Counting what a file declares; see declared_memory.h.
#include "format/common/declared_memory.h"

#include <limits>

#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {

bool DeclaredMemory::add(int64_t count, int64_t bytes_each) {
  constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
  if (count > kMost - count_ || count > (limit_ - bytes_) / bytes_each) return false;
  count_ += count;
  bytes_ += count * bytes_each;
  return true;
}

std::string DeclaredMemory::message() const {
  return format_text(
      "what is declared up to here would take more than %lld MiB of memory, which is %s",
      static_cast<long long>(limit_ >> 20), name_of(IntParam::kReadDeclaredLimit));
}

}  // namespace vorlan
