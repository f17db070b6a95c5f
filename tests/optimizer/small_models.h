// Small models that several tests solve or read, in MPS but where it is said.
#pragma once

#include <string>

// In SDPA's format: the largest -<I + 11', X> of a matrix X with the trace 1, which is -1. From an
// order of 30 on a solve takes a library for dense algebra.
inline std::string dense_matrix_model(int order) {
  const std::string size = std::to_string(order);
  std::string text = "1\n1\n" + size + "\n1\n";
  for (int row = 1; row <= order; ++row) {
    const std::string first = std::to_string(row) + " ";
    for (int col = row; col <= order; ++col) {
      text += "0 1 " + first + std::to_string(col) + (row == col ? " -2\n" : " -1\n");
    }
    text += "1 1 " + first + first + "1\n";
  }
  return text;
}

// The least z with z >= 2: the optimum is 2.
inline constexpr char kOneVariable[] = R"(NAME A
ROWS
 N C
 G R
COLUMNS
 Z C 1 R 1
RHS
 B R 2
ENDATA
)";

// x + y <= 1 and x + y >= 2.
inline constexpr char kContradiction[] = R"(NAME A
ROWS
 N C
 L R
 G S
COLUMNS
 X C 1 R 1
 X S 1
 Y C 1 R 1
 Y S 1
RHS
 B R 1 S 2
ENDATA
)";

// The least -x with x - y <= 1: unbounded along x = y.
inline constexpr char kUnboundedDirection[] = R"(NAME A
ROWS
 N C
 L R
COLUMNS
 X C -1 R 1
 Y R -1
RHS
 B R 1
ENDATA
)";

// The least integer x with 2 x >= 3, x <= 5: the optimum is 2.
inline constexpr char kSmallInteger[] = R"(NAME A
ROWS
 N C
 G R
COLUMNS
 M 'MARKER' 'INTORG'
 X C 1 R 2
 M 'MARKER' 'INTEND'
RHS
 B R 3
BOUNDS
 UP B X 5
ENDATA
)";

// An integer x with 2 x = 1: only the relaxation has a point.
inline constexpr char kInfeasibleInteger[] = R"(NAME A
ROWS
 N C
 E R
COLUMNS
 M 'MARKER' 'INTORG'
 X C 1 R 2
 M 'MARKER' 'INTEND'
RHS
 B R 1
BOUNDS
 UP B X 5
ENDATA
)";

// x <= 1 and x >= 2.
inline constexpr char kContradictionOfOne[] = R"(NAME A
ROWS
 N C
 L R
 G S
COLUMNS
 X C 1 R 1
 X S 1
RHS
 B R 1 S 2
ENDATA
)";

// What a workshop makes of its wood and work: a maximum over three variables, in LP.
inline constexpr char kWorkshop[] = R"(Maximize
 obj: 45 x + 80 y + 20 z
Subject To
 wood: 5 x + 20 y + 10 z <= 400
 work: 10 x + 15 y + 5 z <= 450
 floor: x + y + z <= 70
Bounds
 x <= 30
 z <= 25
End
)";

// A PTF file but for its opening line: e^z + e^w subject to z + 2 w >= 200. Beside data of the size 1
// the optimum is of the size 1e29, which needs other units or scalings than a first run has.
inline constexpr char kLargeExponentials[] = R"(
Minimize
 obj: u + v
Subject To
 c: z + 2 w >= 200
 d: w - y <= 10
 o: t = 1
 p: s = 1
Bounds
 z free
 w free
 y free
Cones
 k: exponential u t z
 l: exponential v s w
End
)";
