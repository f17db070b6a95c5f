// Bytes for the tests of readers and writers: random ones, compressed ones, and those that a stream gives.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "file/compression.h"
#include "task/status.h"

namespace vorlan::test {

// The bytes that an InputStream gives for the file, in reads of this size.
Status read_input(const std::string& path, std::string* content, size_t piece = 4096);

// The content as a compressed file has it.
std::string encoded(std::string_view content, Compression compression);

// Bytes without structure, the same for the same seed.
std::string random_bytes(size_t count, uint32_t seed = 1);

// Runs the function in a child process; its exit status, or 1000 plus the signal that ended it.
int in_child(const std::function<int()>& function);

}  // namespace vorlan::test
