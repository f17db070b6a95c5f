// Writes a random set covering model as an MPS file to standard output: branch and bound works long
// on it, and much of that inside phases in which the solver asks nobody whether to go on.
// usage: bench_set_cover ROWS COLUMNS SEED
//
// Every column covers about one row in fifty and costs 1 to 100; every row is covered by two
// columns at least, so that the model is feasible.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <vector>

namespace {

constexpr uint32_t kRowsPerOne = 50;
constexpr uint32_t kMostCost = 100;

using Cover = std::vector<std::set<uint32_t>>;  // the rows of each column

// The generator's own arithmetic: the standard's distributions differ between libraries.
Cover makecover(uint32_t num_rows, uint32_t num_columns, std::mt19937& random) {
  Cover cover(num_columns);
  for (auto& rows : cover) {
    for (uint32_t i = 0; i <= num_rows / kRowsPerOne; ++i) rows.insert(random() % num_rows);
  }
  for (uint32_t row = 0; row < num_rows; ++row) {
    const auto first = static_cast<uint32_t>(random() % num_columns);
    cover[first].insert(row);
    cover[(first + 1) % num_columns].insert(row);
  }
  return cover;
}

void writemodel(const Cover& cover, uint32_t num_rows, std::mt19937& random) {
  std::printf("NAME COVER\nROWS\n N COST\n");
  for (uint32_t row = 0; row < num_rows; ++row) std::printf(" G R%u\n", row);
  std::printf("COLUMNS\n M1 'MARKER' 'INTORG'\n");
  for (size_t column = 0; column < cover.size(); ++column) {
    std::printf(" X%zu COST %u\n", column, static_cast<uint32_t>(1 + random() % kMostCost));
    for (const uint32_t row : cover[column]) std::printf(" X%zu R%u 1\n", column, row);
  }
  std::printf(" M2 'MARKER' 'INTEND'\nRHS\n");
  for (uint32_t row = 0; row < num_rows; ++row) std::printf(" RHS R%u 1\n", row);
  std::printf("BOUNDS\n");
  for (size_t column = 0; column < cover.size(); ++column) std::printf(" BV BND X%zu\n", column);
  std::printf("ENDATA\n");
}

uint32_t number(const char* word) { return static_cast<uint32_t>(std::strtoul(word, nullptr, 10)); }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 || number(argv[1]) == 0 || number(argv[2]) < 2) {
    std::fprintf(stderr, "usage: bench_set_cover ROWS COLUMNS SEED\n");
    return 1;
  }
  std::mt19937 random(number(argv[3]));
  const Cover cover = makecover(number(argv[1]), number(argv[2]), random);
  writemodel(cover, number(argv[1]), random);
}
