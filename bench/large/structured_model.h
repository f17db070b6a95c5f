// Large models with the structure of ones that people solve, the same for the same words:
//
// transport PLANTS CUSTOMERS     least cost from plants to customers
// planning PRODUCTS PERIODS      making, keeping and delivering late, with four capacities a period
// staircase STAGES ROWS          each stage of so many equations shares a few columns with the next
// commitment UNITS HOURS         power plants switched on and off, relaxed
// lasso ROWS COLUMNS             1/2 |Ax - b|^2 + |x|_1, A dense; lasso-cone: the square as a rotated cone
// sparse-lasso ROWS COLUMNS      the same, a fiftieth of A's elements not 0; sparse-lasso-cone too
// support-vectors ROWS COLUMNS   a plane between two classes of points, a tenth of whose elements are not 0
// squares ROWS COLUMNS           1/2 |Ax - b|^2, x >= 0; squares-cone: the same as a rotated cone
// grid NODES CONTROLS            a heated cube of so many nodes a side, CONTROLS of 100 nodes with a source
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// minimize cost'x + 1/2 sum square_j x_j^2 with rows E, L or G.
struct StructuredModel {
  struct Entry {
    int32_t row;
    double value;
  };
  struct Row {
    char kind;  // E, L, G
    double rhs;
  };
  struct Column {
    double cost = 0.0;
    double square = 0.0;
    bool is_free = false;  // else at least 0
    double upper = 0.0;    // 0: none
    std::vector<Entry> entries;
  };
  std::vector<Row> rows;
  std::vector<Column> columns;
  // One rotated cone of the columns from here on, 2 x_first x_(first+1) >= the squares of the others; or
  // -1.
  int32_t cone = -1;

  int32_t add_row(char kind, double rhs);
  int32_t add_column(double cost, std::vector<Entry> entries, bool is_free = false);
  // False: there is no such kind.
  static bool make(const std::string& kind, int32_t a, int32_t b, StructuredModel* model);
};
