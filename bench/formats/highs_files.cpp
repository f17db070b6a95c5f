// The same steps with a problem file as HiGHS's library does them; see model_files.cpp.
// usage: bench_highs_files read FILE
//        bench_highs_files write FROM TO    prints the milliseconds of processor time of the
//        writing
#include <interfaces/highs_c_api.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "processor_time.h"

namespace {

void check(HighsInt status, const char* what) {
  if (status == kHighsStatusOk || status == kHighsStatusWarning) return;
  std::fprintf(stderr, "bench_highs_files: cannot %s\n", what);
  std::exit(1);
}

void write(void* highs, const char* file) {
  const double start = processor_seconds();
  check(Highs_writeModel(highs, file), "write");
  std::printf("%.3f\n", (processor_seconds() - start) * 1e3);
}

}  // namespace

int main(int argc, char** argv) {
  const bool writes = argc == 4 && std::strcmp(argv[1], "write") == 0;
  if (!writes && !(argc == 3 && std::strcmp(argv[1], "read") == 0)) {
    std::fputs("usage: see bench/formats/highs_files.cpp\n", stderr);
    return 1;
  }
  void* highs = Highs_create();
  check(Highs_setBoolOptionValue(highs, "output_flag", 0), "be silent");
  check(Highs_readModel(highs, argv[2]), "read");
  if (writes) write(highs, argv[3]);
  Highs_destroy(highs);
  return 0;
}
