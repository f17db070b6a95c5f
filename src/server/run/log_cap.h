// Logs end at 64 MiB: of a longer one the first and the last 32 MiB stay.
#pragma once

#include <cstdint>
#include <string>

namespace vorlan::server {

inline constexpr uint64_t kLogHead = uint64_t{32} << 20;
inline constexpr uint64_t kLogTail = uint64_t{32} << 20;

// Gives the middle of a log that is being written back to the disk. The length stays, so that
// places in the log do; the middle reads as zeros. Does nothing where the file system cannot.
void hollow_log(const std::string& path, uint64_t size);

// The first byte from `offset` on that hollow_log() leaves in a log of this size.
uint64_t next_kept_byte(uint64_t offset, uint64_t size);

// Puts a line that says what is missing in place of the middle of a log that nobody writes any
// more.
void shorten_log(const std::string& path);

}  // namespace vorlan::server
