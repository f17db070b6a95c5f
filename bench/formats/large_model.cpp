// Writes a large sparse linear model as an MPS file to standard output, the same for the same
// words. usage: bench_large_model NONZEROS short|long
//
// short  names of 8 bytes as planning systems number them; eight elements a column
// long   names of 40 to 70 bytes that share their beginnings, as modelling languages write them,
// and
//        three elements a column: most of the file is names
//
// Half of the values are 1 or -1, three in ten have two decimals, the others all their digits.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>

namespace {

struct Shape {
  uint32_t per_column;
  uint32_t columns_per_row;
  const char* row_name;
  const char* column_name;
};

constexpr Shape kShortNames = {8, 2, "R%07u", "C%07u"};
constexpr Shape kLongNames = {3, 3, "balance_of_material(plant_%04u,product_and_grade_%05u,week)",
                              "amount_produced(plant_%04u,product_and_grade_%05u,line_A)"};
constexpr uint32_t kPerPlant = 500;

class Generator {
 public:
  Generator(const Shape& shape, uint32_t num_elements)
      : shape_(shape),
        num_columns_(num_elements / shape.per_column),
        num_rows_(num_columns_ / shape.columns_per_row + shape.per_column) {}

  void write() {
    std::printf("NAME LARGE\nROWS\n N COST\n");
    for (uint32_t row = 0; row < num_rows_; ++row) {
      std::printf(" %c %s\n", "LGE"[row % 3], name(shape_.row_name, row));
    }
    std::printf("COLUMNS\n");
    for (uint32_t column = 0; column < num_columns_; ++column) write_column(column);
    std::printf("RHS\n");
    for (uint32_t row = 0; row < num_rows_; row += 2) write_line("RHS", shape_.row_name, row);
    std::printf("BOUNDS\n");
    for (uint32_t column = 0; column < num_columns_; column += 3) {
      write_line("UP BND", shape_.column_name, column);
    }
    std::printf("ENDATA\n");
  }

 private:
  // Neighbours in the numbering belong to one plant, so that many names begin alike.
  const char* name(const char* pattern, uint32_t index) {
    if (&shape_ == &kShortNames) {
      std::snprintf(name_, sizeof name_, pattern, index);
    } else {
      std::snprintf(name_, sizeof name_, pattern, index / kPerPlant, index % kPerPlant);
    }
    return name_;
  }

  void write_column(uint32_t column) {
    const std::string own = name(shape_.column_name, column);
    std::printf(" %s COST ", own.c_str());
    write_value();
    std::set<uint32_t> rows;
    while (rows.size() < shape_.per_column) rows.insert(random_number() % num_rows_);
    for (const uint32_t row : rows) write_line(own.c_str(), shape_.row_name, row);
  }

  void write_line(const char* first, const char* pattern, uint32_t index) {
    std::printf(" %s %s ", first, name(pattern, index));
    write_value();
  }

  void write_value() {
    const uint32_t kind = random_number() % 10;
    const uint32_t value = random_number() % 100000 + 1;
    if (kind < 5) {
      std::printf("%s\n", value % 2 == 0 ? "1" : "-1");
    } else if (kind < 8) {
      std::printf("%u.%02u\n", value / 100, value % 100);
    } else {
      std::printf("%.17g\n", static_cast<double>(value) / 7.0);
    }
  }

  uint32_t random_number() { return static_cast<uint32_t>(random_()); }

  const Shape& shape_;
  uint32_t num_columns_, num_rows_;
  std::mt19937 random_{1};
  char name_[128] = {};
};

}  // namespace

int main(int argc, char** argv) {
  const long num_elements = argc == 3 ? std::strtol(argv[1], nullptr, 10) : 0;
  const bool is_long = argc == 3 && std::strcmp(argv[2], "long") == 0;
  if (num_elements < 8 || num_elements > 1000000000 ||
      (!is_long && std::strcmp(argv[2], "short") != 0)) {
    std::fputs("usage: bench_large_model NONZEROS short|long\n", stderr);
    return 1;
  }
  Generator(is_long ? kLongNames : kShortNames, static_cast<uint32_t>(num_elements)).write();
  return std::fflush(stdout) == 0 ? 0 : 1;
}
