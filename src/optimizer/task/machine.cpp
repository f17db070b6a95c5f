// Linux tells these in files; control groups come in two versions. A container sees its own group
// as the root. Elsewhere, as in a job of a cluster or a unit of systemd, the group is named by a
// list, and every group above it has a say.
#include "task/machine.h"

#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "task/numeric.h"

namespace vorlan {
namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File open_file(const char* name) { return File(std::fopen(name, "re"), std::fclose); }

// The first number of a file; infinite where there is none, as for "max".
double number_in(const std::string& name) {
  const File file = open_file(name.c_str());
  double value = kInfinity;
  if (file == nullptr || std::fscanf(file.get(), "%lf", &value) != 1) return kInfinity;
  return value;
}

// Whether a list of names with commas between them has the name.
bool has_name(std::string_view list, std::string_view name) {
  while (!list.empty()) {
    const size_t end = std::min(list.find(','), list.size());
    if (list.substr(0, end) == name) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

// Adds the folder of a group and of those above it, but for the root.
void add_folders(const std::string& root, std::string_view group,
                 std::vector<std::string>* folders) {
  for (size_t end = group.size(); end != 0 && end != std::string_view::npos;
       end = group.rfind('/', end - 1)) {
    folders->push_back(root + std::string(group.substr(0, end)));
  }
}

// The folders of the groups by which the controller counts this process, of both versions. Each
// line of the list is NUMBER:CONTROLLERS:GROUP, without controllers where they are of the second
// version.
std::vector<std::string> group_folders(const ControlGroups& groups, const std::string& controller) {
  std::vector<std::string> folders = {groups.root, groups.root + '/' + controller};
  const File file = open_file(groups.list.c_str());
  char buffer[4096];
  while (file != nullptr && std::fgets(buffer, sizeof buffer, file.get()) != nullptr) {
    std::string_view line(buffer);
    while (!line.empty() && (line.back() == '\n' || line.back() == '/')) line.remove_suffix(1);
    const size_t first = line.find(':');
    const size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
    if (second == std::string_view::npos) continue;
    const std::string_view controllers = line.substr(first + 1, second - first - 1);
    const std::string_view group = line.substr(second + 1);
    if (controllers.empty()) {
      add_folders(groups.root, group, &folders);
    } else if (has_name(controllers, controller)) {
      add_folders(groups.root + '/' + controller, group, &folders);
    }
  }
  return folders;
}

// What the group of a folder allows; infinite where it has no quota.
double quota_in(const std::string& folder) {
  double allowed = kInfinity;
  double period = 0.0;
  const File file = open_file((folder + "/cpu.max").c_str());
  if (file != nullptr && std::fscanf(file.get(), "%lf %lf", &allowed, &period) == 2) {
    return allowed / period;
  }
  allowed = number_in(folder + "/cpu.cfs_quota_us");
  period = number_in(folder + "/cpu.cfs_period_us");
  return allowed > 0.0 && period > 0.0 && std::isfinite(period) ? allowed / period : kInfinity;
}

double memory_in(const std::string& folder) {
  const double limit =
      std::min(number_in(folder + "/memory.max"), number_in(folder + "/memory.limit_in_bytes"));
  const double used =
      std::min(number_in(folder + "/memory.current"), number_in(folder + "/memory.usage_in_bytes"));
  return std::isfinite(used) ? std::max(0.0, limit - used) : kInfinity;
}

// The processors of the affinity, of which a large machine has more than a set of fixed size.
double processors_of_affinity() {
  constexpr size_t kMostBytes = size_t{1} << 16;
  for (size_t bytes = sizeof(cpu_set_t); bytes <= kMostBytes; bytes *= 2) {
    std::vector<cpu_set_t> set(bytes / sizeof(cpu_set_t));
    if (::sched_getaffinity(0, bytes, set.data()) == 0) return CPU_COUNT_S(bytes, set.data());
  }
  return 1.0;
}

}  // namespace

double processor_quota(const ControlGroups& groups) {
  double least = kInfinity;
  for (const std::string& folder : group_folders(groups, "cpu")) {
    least = std::min(least, quota_in(folder));
  }
  return least;
}

double memory_within_limits(const ControlGroups& groups) {
  double least = kInfinity;
  for (const std::string& folder : group_folders(groups, "memory")) {
    least = std::min(least, memory_in(folder));
  }
  return least;
}

int32_t usable_processors() {
  const double count = std::min(processors_of_affinity(), std::round(processor_quota()));
  return static_cast<int32_t>(std::max(1.0, count));
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
  return std::min(system, memory_within_limits());
}

double resident_memory() {
  const File file = open_file("/proc/self/statm");
  double pages = 0.0;
  if (file == nullptr || std::fscanf(file.get(), "%*f %lf", &pages) != 1) return 0.0;
  return pages * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

}  // namespace vorlan
