// MPS files: any bytes give a message or a model; what is read survives being written and read
// again, to the last bit, and the second writing gives the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "format/mps/mps.h"
#include "round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string fault =
      vorlan::test::round_trip_fault(vorlan::read_mps, vorlan::write_mps, text);
  if (fault.empty()) return 0;
  std::fprintf(stderr, "%s\n", fault.c_str());
  std::abort();
}
