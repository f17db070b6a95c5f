// The operators new and delete of the test program, over malloc; see failing_memory.h.
#include "failing_memory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int allocations_left = -1;

}  // namespace

namespace vorlan::test {

void fail_allocations_after(int count) { allocations_left = count; }

}  // namespace vorlan::test

// The other forms of both operators end in these.
void* operator new(std::size_t size) {
  if (allocations_left == 0) throw std::bad_alloc();
  if (allocations_left > 0) --allocations_left;
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
