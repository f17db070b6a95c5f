// The plain report beside its floor, the bare {fmt} formatting of the same numbers into memory.
// usage: bench_report time ROWS ROUNDS mixed|full FILE    seconds, medians: floor, report to FILE,
//                                                         report to /dev/null
//        bench_report memory ROWS mixed|full FILE         KiB: columns, peak of the process, output
//
// The report has ROWS variables and ROWS constraints in its basic section. FILE is overwritten.
#include <fmt/compile.h>
#include <fmt/format.h>
#include <vorlanplainsol.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "report/synthetic_library.h"
#include "statistics.h"

namespace {

// What the report shows of one kind of row; snx of the variables is zero.
struct Columns {
  explicit Columns(std::size_t rows) : first(rows), second(rows), third(rows), fourth(rows) {}
  std::vector<double> first, second, third, fourth;
};

struct Solution {
  explicit Solution(vlntaskt* task)
      : variables(static_cast<std::size_t>(task->rows)), constraints(variables) {
    VLN_getxx(task, 1, variables.first.data());
    VLN_getslx(task, 1, variables.second.data());
    VLN_getsux(task, 1, variables.third.data());
    VLN_getxc(task, 1, constraints.first.data());
    VLN_getslc(task, 1, constraints.second.data());
    VLN_getsuc(task, 1, constraints.third.data());
    VLN_gety(task, 1, constraints.fourth.data());
  }
  Columns variables, constraints;
};

// The numbers of the rows as the report shows them, without names, words and titles.
void formatcolumns(const Columns& columns, fmt::memory_buffer& buffer, std::size_t& size) {
  for (std::size_t i = 0; i < columns.first.size(); ++i) {
    buffer.clear();
    fmt::format_to(std::back_inserter(buffer),
                   FMT_COMPILE("{:04} {:24.16e} {:24.16e} {:24.16e} {:24.16e}\n"),
                   static_cast<std::int32_t>(i), columns.first[i], columns.second[i],
                   columns.third[i], columns.fourth[i]);
    size += buffer.size();
  }
}

double timefloor(const Solution& solution) {
  const double start = now();
  fmt::memory_buffer buffer;
  std::size_t size = 0;
  formatcolumns(solution.variables, buffer, size);
  formatcolumns(solution.constraints, buffer, size);
  const double end = now();
  if (size == 0) std::exit(1);
  return end - start;
}

// Into a fresh file: what it takes to empty an old one is not the report's.
double timereport(vlntaskt* task, const char* file) {
  if (std::string_view(file) != "/dev/null") std::filesystem::remove(file);
  const double start = now();
  VLN_writeplainsol(task, file);
  return now() - start;
}

// Peak resident set of this process, without what its parent had.
long peakkibibytes() {
  std::ifstream status("/proc/self/status");
  std::string word;
  long size = 0;
  while (status >> word) {
    if (word == "VmHWM:" && status >> size) return size;
  }
  std::fputs("bench_report: /proc/self/status has no VmHWM\n", stderr);
  std::exit(1);
}

void measuretime(vlntaskt task, int num_rounds, const char* file) {
  const Solution solution(&task);
  std::vector<double> floor, tofile, tonull;
  for (int round = 0; round < num_rounds; ++round) {
    floor.push_back(timefloor(solution));
    tofile.push_back(timereport(&task, file));
    tonull.push_back(timereport(&task, "/dev/null"));
  }
  std::printf("%.4f %.4f %.4f\n", median(floor), median(tofile), median(tonull));
}

void measurememory(vlntaskt task, const char* file) {
  VLN_writeplainsol(&task, file);
  // Variables and constraints alike: a status key and four numbers.
  const long columns =
      2L * task.rows * static_cast<long>(sizeof(std::int32_t) + 4 * sizeof(double));
  const auto output = static_cast<long>(std::filesystem::file_size(file));
  std::printf("%ld %ld %ld\n", columns / 1024, peakkibibytes(), output / 1024);
}

vlntaskt maketask(const char* rows, const char* numbers) {
  const bool mixed = std::string_view(numbers) == "mixed";
  return {std::atoi(rows), mixed ? Numbers::Mixed : Numbers::Full};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 6 && std::strcmp(argv[1], "time") == 0) {
    measuretime(maketask(argv[2], argv[4]), std::max(1, std::atoi(argv[3])), argv[5]);
    return 0;
  }
  if (argc == 5 && std::strcmp(argv[1], "memory") == 0) {
    measurememory(maketask(argv[2], argv[3]), argv[4]);
    return 0;
  }
  std::fputs("usage: see bench/report/report.cpp\n", stderr);
  return 2;
}
