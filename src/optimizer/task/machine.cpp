// Linux tells these in files; control groups come in two versions, of which a container has one.
#include "task/machine.h"

#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "task/numeric.h"

namespace vorlan {
namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File open_file(const char* name) { return File(std::fopen(name, "re"), std::fclose); }

// The first number of a file; infinite where there is none, as for "max".
double number_in(const char* name) {
  const File file = open_file(name);
  double value = kInfinity;
  if (file == nullptr || std::fscanf(file.get(), "%lf", &value) != 1) return kInfinity;
  return value;
}

double quota() {
  double allowed = kInfinity;
  double period = 0.0;
  const File file = open_file("/sys/fs/cgroup/cpu.max");
  if (file != nullptr && std::fscanf(file.get(), "%lf %lf", &allowed, &period) == 2) {
    return allowed / period;
  }
  const double first = number_in("/sys/fs/cgroup/cpu/cpu.cfs_quota_us");
  const double second = number_in("/sys/fs/cgroup/cpu/cpu.cfs_period_us");
  return first > 0.0 && second > 0.0 && std::isfinite(first) ? first / second : kInfinity;
}

double memory_of_group() {
  const double limit = std::min(number_in("/sys/fs/cgroup/memory.max"),
                                number_in("/sys/fs/cgroup/memory/memory.limit_in_bytes"));
  const double used = std::min(number_in("/sys/fs/cgroup/memory.current"),
                               number_in("/sys/fs/cgroup/memory/memory.usage_in_bytes"));
  return std::isfinite(used) ? limit - used : kInfinity;
}

}  // namespace

int32_t usable_processors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  double count = 1.0;
  if (::sched_getaffinity(0, sizeof set, &set) == 0) count = CPU_COUNT(&set);
  return static_cast<int32_t>(std::max(1.0, std::min(count, std::round(quota()))));
}

int32_t search_threads(int32_t asked) { return asked > 0 ? asked : (usable_processors() + 1) / 2; }

int32_t continuous_threads(int32_t asked) { return asked > 0 ? asked : usable_processors(); }

bool has_address_space(double bytes) {
  const auto size = static_cast<size_t>(bytes);
  void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return false;
  ::munmap(memory, size);
  return true;
}

// The system counts who asks, too.
bool has_idle_processor() {
  const File file = open_file("/proc/loadavg");
  long running = 0;
  if (file == nullptr || std::fscanf(file.get(), "%*f %*f %*f %ld/", &running) != 1) return true;
  return running - 1 < ::sysconf(_SC_NPROCESSORS_ONLN);
}

double available_memory() {
  constexpr double kKibibyte = 1024.0;
  double system = kInfinity;
  const File file = open_file("/proc/meminfo");
  char line[256];
  while (file != nullptr && std::fgets(line, sizeof line, file.get()) != nullptr) {
    double kibibytes = 0.0;
    if (std::sscanf(line, "MemAvailable: %lf", &kibibytes) == 1) system = kibibytes * kKibibyte;
  }
  return std::min(system, memory_of_group());
}

double resident_memory() {
  const File file = open_file("/proc/self/statm");
  double pages = 0.0;
  if (file == nullptr || std::fscanf(file.get(), "%*f %lf", &pages) != 1) return 0.0;
  return pages * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

}  // namespace vorlan
