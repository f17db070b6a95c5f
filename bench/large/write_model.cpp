// Writes a large model with structure to standard output: linear and quadratic ones as MPS, those with
// a cone as CBF. usage: bench_structured_model KIND SIZE SIZE   (structured_model.h has the kinds)
#include <cstdio>
#include <cstdlib>

#include "structured_model.h"

namespace {

void write_squares(const StructuredModel& model) {
  bool any = false;
  for (size_t j = 0; j < model.columns.size(); ++j) {
    if (model.columns[j].square == 0.0) continue;
    if (!any) std::printf("QUADOBJ\n");
    any = true;
    std::printf(" c%zu c%zu %.9g\n", j, j, model.columns[j].square);
  }
}

void write_mps(const StructuredModel& model) {
  std::printf("NAME STRUCTURED\nROWS\n N cost\n");
  for (size_t i = 0; i < model.rows.size(); ++i) std::printf(" %c r%zu\n", model.rows[i].kind, i);
  std::printf("COLUMNS\n");
  for (size_t j = 0; j < model.columns.size(); ++j) {
    if (model.columns[j].cost != 0.0 || model.columns[j].entries.empty()) {
      std::printf(" c%zu cost %.9g\n", j, model.columns[j].cost);
    }
    for (const StructuredModel::Entry& e : model.columns[j].entries)
      std::printf(" c%zu r%d %.9g\n", j, e.row, e.value);
  }
  std::printf("RHS\n");
  for (size_t i = 0; i < model.rows.size(); ++i) {
    if (model.rows[i].rhs != 0.0) std::printf(" RHS r%zu %.9g\n", i, model.rows[i].rhs);
  }
  // In the columns of fixed format, which Clp takes short lines for.
  std::printf("BOUNDS\n");
  for (size_t j = 0; j < model.columns.size(); ++j) {
    if (model.columns[j].is_free) std::printf(" FR BND       c%zu\n", j);
    if (model.columns[j].upper > 0.0)
      std::printf(" UP BND       c%-7zu  %.9g\n", j, model.columns[j].upper);
  }
  write_squares(model);
  std::printf("ENDATA\n");
}

void write_cbf_numbers(const StructuredModel& model) {
  size_t costs = 0;
  size_t elements = 0;
  size_t sides = 0;
  for (const StructuredModel::Column& column : model.columns) {
    costs += column.cost != 0.0 ? 1 : 0;
    elements += column.entries.size();
  }
  for (const StructuredModel::Row& row : model.rows) sides += row.rhs != 0.0 ? 1 : 0;
  std::printf("\nOBJACOORD\n%zu\n", costs);
  for (size_t j = 0; j < model.columns.size(); ++j) {
    if (model.columns[j].cost != 0.0) std::printf("%zu %.9g\n", j, model.columns[j].cost);
  }
  std::printf("\nACOORD\n%zu\n", elements);
  for (size_t j = 0; j < model.columns.size(); ++j) {
    for (const StructuredModel::Entry& e : model.columns[j].entries)
      std::printf("%d %zu %.9g\n", e.row, j, e.value);
  }
  std::printf("\nBCOORD\n%zu\n", sides);
  for (size_t i = 0; i < model.rows.size(); ++i) {
    if (model.rows[i].rhs != 0.0) std::printf("%zu %.9g\n", i, -model.rows[i].rhs);
  }
}

// The cone's columns are the last ones; a column before them is free or not negative.
void write_cbf(const StructuredModel& model) {
  const size_t cone = static_cast<size_t>(model.cone);
  std::vector<std::pair<char, size_t>> runs;
  for (size_t j = 0; j < cone; ++j) {
    const char kind = model.columns[j].is_free ? 'F' : '+';
    if (runs.empty() || runs.back().first != kind) runs.emplace_back(kind, 0);
    ++runs.back().second;
  }
  std::printf("VER\n1\n\nOBJSENSE\nMIN\n\nVAR\n%zu %zu\n", model.columns.size(), runs.size() + 1);
  for (const auto& [kind, count] : runs) {
    std::printf(kind == 'F' ? "F %zu\n" : "L+ %zu\n", count);
  }
  std::printf("QR %zu\n\nCON\n%zu %zu\n", model.columns.size() - cone, model.rows.size(),
              model.rows.size());
  for (const StructuredModel::Row& row : model.rows) {
    std::printf(row.kind == 'E' ? "L= 1\n" : row.kind == 'L' ? "L- 1\n" : "L+ 1\n");
  }
  write_cbf_numbers(model);
}

}  // namespace

int main(int argc, char** argv) {
  StructuredModel model;
  if (argc != 4 ||
      !StructuredModel::make(argv[1], std::atoi(argv[2]), std::atoi(argv[3]), &model)) {
    std::fprintf(stderr, "usage: bench_structured_model KIND SIZE SIZE\n");
    return 2;
  }
  // Models of 10 million elements go through one buffer.
  static char buffer[1 << 20];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  if (model.cone >= 0) {
    write_cbf(model);
  } else {
    write_mps(model);
  }
  return 0;
}
