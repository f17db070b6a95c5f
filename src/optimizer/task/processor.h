// Features of the processor that the system lets programs use. They are asked for when they matter:
// __builtin_cpu_supports would bring a constructor along that asks whenever this library is loaded,
// which takes a virtual machine a tenth of the time of the program's start.
#pragma once

namespace vorlan {

struct ProcessorFeatures {
  bool avx2 = false;
  bool fma = false;
};

ProcessorFeatures processor_features();

}  // namespace vorlan
