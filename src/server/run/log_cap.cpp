// Cutting of logs; see log_cap.h.
#include "run/log_cap.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "base/files.h"

namespace vorlan::server {
namespace {

// File systems give back whole blocks.
constexpr uint64_t kBlock = uint64_t{1} << 20;
constexpr size_t kPiece = size_t{1} << 20;

bool copy_part(const std::string& from, uint64_t offset, uint64_t length, const Descriptor& to) {
  while (length > 0) {
    const auto text =
        read_part(from, offset, static_cast<size_t>(std::min<uint64_t>(length, kPiece)));
    if (!text || text->empty() || !write_all(to.get(), *text)) return false;
    offset += text->size();
    length -= text->size();
  }
  return true;
}

}  // namespace

void hollow_log(const std::string& path, uint64_t size) {
  if (size <= kLogHead + kLogTail + kBlock) return;
  const uint64_t end = (size - kLogTail) / kBlock * kBlock;
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (!file.valid()) return;
  (void)fallocate(file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                  static_cast<off_t>(kLogHead), static_cast<off_t>(end - kLogHead));
}

uint64_t next_kept_byte(uint64_t offset, uint64_t size) {
  if (offset < kLogHead || size <= kLogHead + kLogTail + kBlock) return offset;
  return std::max(offset, (size - kLogTail) / kBlock * kBlock);
}

void shorten_log(const std::string& path) {
  const uint64_t size = file_size(path).value_or(0);
  if (size <= kLogHead + kLogTail + kBlock) return;
  const std::string shortened = path + ".short";
  const Descriptor file = create_file(shortened);
  const std::string note =
      "\n[" + std::to_string(size - kLogHead - kLogTail) + " bytes of the log were left out]\n";
  const bool done = file.valid() && copy_part(path, 0, kLogHead, file) &&
                    write_all(file.get(), note) && copy_part(path, size - kLogTail, kLogTail, file);
  if (done) (void)std::rename(shortened.c_str(), path.c_str());
}

}  // namespace vorlan::server
