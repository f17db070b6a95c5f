// allocations.cpp - counts the blocks that new has given out and delete has not taken back; the
// address sanitizer has operators of its own, which are asked instead.
#include "allocations.h"

#ifdef __SANITIZE_ADDRESS__

// Not every compiler brings the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();

std::size_t allocated() { return __sanitizer_get_current_allocated_bytes(); }

#else

#include <cstdlib>
#include <new>

namespace {

std::size_t numblocks = 0;

}  // namespace

std::size_t allocated() { return numblocks; }

// The other forms of both operators end in these.
void* operator new(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  ++numblocks;
  return block;
}

void operator delete(void* block) noexcept {
  if (block != nullptr) --numblocks;
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept { operator delete(block); }

#endif
