// The numbers of bits are those of the instruction CPUID (Intel's and AMD's manuals).
#include "task/processor.h"

#include <cstdint>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace vorlan {

#if defined(__x86_64__)

namespace {

constexpr bool has_bit(uint32_t bits, int number) { return ((bits >> number) & 1U) != 0; }

// Whether the system keeps the registers of 256 bits for each process.
bool keeps_wide_registers(uint32_t features) {
  constexpr int kHasStateMask = 27;
  constexpr uint32_t kSmallAndWide = 6;
  if (!has_bit(features, kHasStateMask)) return false;
  uint32_t low = 0;
  uint32_t high = 0;
  asm("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & kSmallAndWide) == kSmallAndWide;
}

}  // namespace

ProcessorFeatures processor_features() {
  constexpr int kFma = 12;
  constexpr int kAvx2 = 5;
  uint32_t a = 0;
  uint32_t b = 0;
  uint32_t c = 0;
  uint32_t d = 0;
  ProcessorFeatures features;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || !keeps_wide_registers(c)) return features;
  features.fma = has_bit(c, kFma);
  features.avx2 = __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && has_bit(b, kAvx2);
  return features;
}

#else

ProcessorFeatures processor_features() { return {}; }

#endif

}  // namespace vorlan
