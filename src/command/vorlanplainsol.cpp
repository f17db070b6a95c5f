// The plain solution report has a fixed layout, because scripts compare it byte for byte.
//
// The layout has oddities: columns that repeat another one or stay zero, titles that are aligned
// differently from section to section, a word misspelt. Readers of the report rely on them. Each
// is stated where it is printed, and none is to be mended.
#include "vorlanplainsol.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "quote.h"
#include "reportfile.h"
#include "vlnexception.h"

namespace {

// ---- Words of statuses and status keys

constexpr std::array<const char*, 10> vln_sol_sta_primal_str = {
    "unknown", "optimal",     "feasible", "unknown",       "feasible",
    "unknown", "infeas_cert", "unknown",  "illposed_cert", "optimal"};
constexpr std::array<const char*, 10> vln_sol_sta_dual_str = {
    "unknown",     "optimal", "unknown",       "feasible", "feasible",
    "infeas_cert", "unknown", "illposed_cert", "unknown",  "unknown"};
constexpr std::array<const char*, 9> vln_pro_sta_primal_str = {
    "unknown",    "feasible",   "feasible",
    "unknown",    "infeasible", "unknown",
    "infeasible", "illposed",   "infeasible_or_unbounded"};
constexpr std::array<const char*, 9> vln_pro_sta_dual_str = {
    "unknown",    "feasible", "unknown",
    "feasible",   "unknown",  "infeasible",
    "infeasible", "illposed", "infeasible_or_unbounded"};
constexpr std::array<const char*, 7> sk_strs = {"unknown",  "basic", "super_basic", "at_lower",
                                                "at_upper", "fixed", "infinite"};

// The library's numbers are not to be trusted: what has no word is unknown.
std::string_view wordof(std::span<const char* const> words, std::int32_t number) {
  if (number < 0 || static_cast<std::size_t>(number) >= words.size()) return "unknown";
  return words[static_cast<std::size_t>(number)];
}

// The words of the status keys as "{:6}" shows them. Rows are printed by the million, and {fmt}
// pads a text by its width on a screen, which takes long to find out.
class KeyCells {
 public:
  KeyCells() {
    for (std::size_t i = 0; i < cells_.size(); ++i) cells_[i] = fmt::format("{:6}", sk_strs[i]);
  }
  std::string_view operator[](std::int32_t key) const {
    const auto i = static_cast<std::uint32_t>(key);  // what is negative becomes large
    return i < cells_.size() ? cells_[i] : cells_[0];
  }

 private:
  std::array<std::string, sk_strs.size()> cells_;
};

// An objective is shown when the solution status has a word for its side.
bool showsobjective(std::span<const char* const> words, std::int32_t status) {
  return wordof(words, status) != "unknown";
}

// ---- Working storage
//
// Every buffer is zero-filled when it is made and then belongs to all sections: no query clears it
// first. So what a query leaves out shows what an earlier one left there, and scripts that compare
// reports see that.

constexpr std::size_t asindex(std::int32_t count) { return static_cast<std::size_t>(count); }

constexpr std::int32_t nonnegative(std::int32_t count) { return count < 0 ? 0 : count; }

// Entries of a packed lower triangle, formed in 32 unsigned bits from the dimension as it is: that
// of a negative one has some as well.
constexpr std::uint32_t trianglesize(std::int32_t dimension) {
  const auto d = static_cast<std::uint32_t>(dimension);
  return d * (d + 1U) / 2U;
}

// A buffer of a fixed size. The zeros come from the system, so that a large buffer of which little
// is used takes little memory.
template <typename T>
class Buffer {
 public:
  Buffer() = default;
  explicit Buffer(std::size_t size)
      : elements_(static_cast<T*>(std::calloc(size, sizeof(T)))), size_(size) {
    if (elements_ == nullptr) throw std::bad_alloc();
  }

  T* data() { return elements_.get(); }
  const T* data() const { return elements_.get(); }
  std::size_t size() const { return size_; }
  T& operator[](std::size_t i) { return elements_[i]; }
  const T& operator[](std::size_t i) const { return elements_[i]; }

 private:
  struct Free {
    void operator()(T* elements) const { std::free(elements); }
  };
  std::unique_ptr<T[], Free> elements_;
  std::size_t size_ = 0;
};

// The element, 0.0 beyond the end: the layout reads some buffers by the index of another.
double valueat(const Buffer<double>& values, std::int64_t index) {
  if (index < 0 || static_cast<std::uint64_t>(index) >= values.size()) return 0.0;
  return values[static_cast<std::size_t>(index)];
}

// Makes a column of the report: one element for each row, and one more so that the library never
// receives a null pointer.
template <typename T>
void setrows(std::int32_t rows, Buffer<T>& column) {
  column = Buffer<T>(asindex(nonnegative(rows)) + 1);
}

// The sizes are as the library gives them. A negative count has no rows.
struct Sizes {
  std::int32_t numvar = 0;
  std::int32_t numcon = 0;
  std::int32_t numbarvar = 0;
  std::int32_t maxnamelen = 0;
};

struct VariableColumns {
  void setnumvar(std::int32_t numvar) {
    setrows(numvar, skx);
    for (auto* column : {&xx, &slx, &sux, &snx}) setrows(numvar, *column);
  }
  Buffer<std::int32_t> skx;
  Buffer<double> xx, slx, sux, snx;
};

struct ConstraintColumns {
  void setnumcon(std::int32_t numcon) {
    setrows(numcon, skc);
    for (auto* column : {&xc, &slc, &suc, &y}) setrows(numcon, *column);
  }
  Buffer<std::int32_t> skc;
  Buffer<double> xc, slc, suc, y;
};

// Matrix variables: their dimensions, where the packed triangle of each begins, and two buffers for
// all triangles. The listing of the integer section may look at a dimension two behind the last.
struct BarColumns {
  void setnumbarvar(std::int32_t numbarvar) {
    dims = Buffer<std::int32_t>(asindex(nonnegative(numbarvar)) + 2);
    offsets = Buffer<std::int64_t>(asindex(nonnegative(numbarvar)) + 1);
  }
  std::int64_t totalsize() const { return offsets[offsets.size() - 1]; }
  Buffer<std::int32_t> dims;
  Buffer<std::int64_t> offsets;
  Buffer<double> first, second;
};

// The name of the row that is printed, then of the next. The size that the library is told is a
// 32-bit number, so that the longest of all names loses a byte.
struct NameBuffer {
  void setmaxnamelen(std::int32_t maxnamelen) {
    const bool fits = maxnamelen < std::numeric_limits<std::int32_t>::max();
    size = fits ? maxnamelen + 1 : maxnamelen;
    characters = Buffer<char>(asindex(std::max(size, 1)));
  }
  // Up to the first NUL.
  std::string_view text() const {
    return {characters.data(), strnlen(characters.data(), characters.size())};
  }
  std::int32_t size = 0;
  Buffer<char> characters;
};

struct Status {
  std::int32_t solution = 0;
  std::int32_t problem = 0;  // queried and not shown
  double first_objective = 0.0;
  double second_objective = 0.0;
};

// ---- The writer

class PlainSolutionWriter {
 public:
  PlainSolutionWriter(vlntaskt* task, const char* filename) : task_(task), report_(filename) {}

  void write();

 private:
  using VectorQuery = VLNrescode_enum (*)(vlntaskt*, std::int32_t, double*);
  using KeyQuery = VLNrescode_enum (*)(vlntaskt*, std::int32_t, std::int32_t*);
  using NameQuery = VLNrescode_enum (*)(vlntaskt*, std::int32_t, std::int32_t, char*);
  using SliceQuery = VLNrescode_enum (*)(vlntaskt*, std::int32_t, std::int32_t, std::int32_t,
                                         std::int64_t, double*);

  static void check(std::int32_t line, VLNrescode_enum code) { CHKR_(kPlainsolSource, line, code); }

  void fetchsize(std::int32_t line, VLNrescode_enum (*query)(vlntaskt*, std::int32_t*),
                 std::int32_t& size);
  bool fetchdefined(std::int32_t line, std::int32_t solution);
  void fetch(std::int32_t line, KeyQuery query, std::int32_t solution,
             Buffer<std::int32_t>& column);
  void fetch(std::int32_t line, VectorQuery query, std::int32_t solution, Buffer<double>& column);
  void fetch(std::int32_t line, KeyQuery query, std::int32_t solution, std::int32_t& number);
  void fetchobjective(std::int32_t line, std::int32_t solution, double& objective);
  void fetchslice(std::int32_t line, SliceQuery query, std::int32_t solution);
  void fetchdimensions();
  quote fetchname(NameQuery query, std::int32_t index);
  quote currentname() const { return {name_.text()}; }

  void writeinteger();
  void writebasic();
  void writeinterior();

  void printstatus(const Status& status, std::string_view objective_indent);
  void printvariablerows();
  void printintegerbarlisting();
  void printinteriorbarlisting();
  void printtriangle(std::int32_t j);

  bool hasmatrixvariables() const { return sizes_.numbarvar > 0; }

  vlntaskt* task_;
  ReportFile report_;
  Sizes sizes_;
  VariableColumns variables_;
  ConstraintColumns constraints_;
  BarColumns bars_;
  NameBuffer name_;
  KeyCells keycells_;
};

void PlainSolutionWriter::fetchsize(std::int32_t line,
                                    VLNrescode_enum (*query)(vlntaskt*, std::int32_t*),
                                    std::int32_t& size) {
  check(line, query(task_, &size));
}

bool PlainSolutionWriter::fetchdefined(std::int32_t line, std::int32_t solution) {
  std::int32_t isdefined = 0;
  check(line, VLN_solutiondef(task_, solution, &isdefined));
  return isdefined != 0;
}

void PlainSolutionWriter::fetch(std::int32_t line, KeyQuery query, std::int32_t solution,
                                Buffer<std::int32_t>& column) {
  check(line, query(task_, solution, column.data()));
}

void PlainSolutionWriter::fetch(std::int32_t line, VectorQuery query, std::int32_t solution,
                                Buffer<double>& column) {
  check(line, query(task_, solution, column.data()));
}

void PlainSolutionWriter::fetch(std::int32_t line, KeyQuery query, std::int32_t solution,
                                std::int32_t& number) {
  check(line, query(task_, solution, &number));
}

void PlainSolutionWriter::fetchobjective(std::int32_t line, std::int32_t solution,
                                         double& objective) {
  check(line, VLN_getprimalobj(task_, solution, &objective));
}

void PlainSolutionWriter::fetchslice(std::int32_t line, SliceQuery query, std::int32_t solution) {
  check(line, query(task_, solution, 0, sizes_.numbarvar, bars_.totalsize(), bars_.first.data()));
}

// The dimensions are asked for twice, first to size the buffers. The buffers are as large as either
// round of answers needs.
void PlainSolutionWriter::fetchdimensions() {
  std::int64_t size = 0;
  for (std::int32_t j = 0; j < sizes_.numbarvar; ++j) {
    std::int32_t dimension = 0;
    check(222, VLN_getdimbarvarj(task_, j, &dimension));
    size += trianglesize(dimension);
  }

  bars_.setnumbarvar(sizes_.numbarvar);
  for (std::int32_t j = 0; j < sizes_.numbarvar; ++j) {
    std::int32_t& dimension = bars_.dims[asindex(j)];
    check(248, VLN_getdimbarvarj(task_, j, &dimension));
    bars_.offsets[asindex(j) + 1] = bars_.offsets[asindex(j)] + trianglesize(dimension);
  }
  const auto doubles = static_cast<std::size_t>(std::max(size, bars_.totalsize())) + 1;
  bars_.first = Buffer<double>(doubles);
  bars_.second = Buffer<double>(doubles);
}

quote PlainSolutionWriter::fetchname(NameQuery query, std::int32_t index) {
  query(task_, index, name_.size, name_.characters.data());
  return currentname();
}

void PlainSolutionWriter::write() {
  fetchsize(211, VLN_getnumvar, sizes_.numvar);
  fetchsize(212, VLN_getnumcon, sizes_.numcon);
  fetchsize(213, VLN_getnumbarvar, sizes_.numbarvar);
  fetchsize(214, VLN_getmaxnamelen, sizes_.maxnamelen);
  const bool has_interior = fetchdefined(215, VLN_SOLUTION_INTERIOR);
  const bool has_basic = fetchdefined(216, VLN_SOLUTION_BASIC);
  const bool has_integer = fetchdefined(217, VLN_SOLUTION_INTEGER);
  fetchdimensions();
  variables_.setnumvar(sizes_.numvar);
  constraints_.setnumcon(sizes_.numcon);
  name_.setmaxnamelen(sizes_.maxnamelen);

  report_.printtitle("Solution");
  if (has_integer) writeinteger();
  if (has_basic) writebasic();
  if (has_interior) writeinterior();
}

// ---- Lines that the sections share

// The problem status words are taken by the solution status; the objective is shown in both fields
// when the status speaks of both sides, since no dual objective is queried.
void PlainSolutionWriter::printstatus(const Status& status, std::string_view objective_indent) {
  const std::int32_t s = status.solution;
  report_.print(FMT_COMPILE("    SolutionStatus {} {}\n"), wordof(vln_sol_sta_primal_str, s),
                wordof(vln_sol_sta_dual_str, s));
  report_.print(FMT_COMPILE("    ProblemnStatus {} {}\n"), wordof(vln_pro_sta_primal_str, s),
                wordof(vln_pro_sta_dual_str, s));
  report_.print(FMT_COMPILE("{}Objective "), objective_indent);
  const auto printobjective = [&](bool shown, double objective) {
    if (shown) {
      report_.print(FMT_COMPILE("{:e} "), objective);
    } else {
      report_.print(FMT_COMPILE(". "));
    }
  };
  printobjective(showsobjective(vln_sol_sta_primal_str, s), status.first_objective);
  printobjective(showsobjective(vln_sol_sta_dual_str, s), status.second_objective);
  report_.print(FMT_COMPILE("\n"));
}

// Rows of the basic and the interior section.
void PlainSolutionWriter::printvariablerows() {
  for (std::int32_t i = 0; i < sizes_.numvar; ++i) {
    const std::size_t k = asindex(i);
    report_.print(FMT_COMPILE("      var{:04}: {:15} {} {} {} {} {}\n"), i,
                  fetchname(VLN_getvarname, i), keycells_[variables_.skx[k]],
                  number{variables_.xx[k]}, number{variables_.slx[k]}, number{variables_.sux[k]},
                  number{variables_.snx[k]});
  }
}

// ---- Integer section

void PlainSolutionWriter::writeinteger() {
  Status status;
  fetch(259, VLN_getskx, VLN_SOLUTION_INTEGER, variables_.skx);
  fetch(260, VLN_getskc, VLN_SOLUTION_INTEGER, constraints_.skc);
  fetch(261, VLN_getxx, VLN_SOLUTION_INTEGER, variables_.xx);
  fetchobjective(262, VLN_SOLUTION_INTEGER, status.first_objective);
  fetch(263, VLN_getxc, VLN_SOLUTION_INTEGER, constraints_.xc);
  fetch(264, VLN_getxc, VLN_SOLUTION_INTEGER, constraints_.xc);
  fetchobjective(265, VLN_SOLUTION_INTEGER, status.first_objective);
  fetchobjective(266, VLN_SOLUTION_INTEGER, status.second_objective);
  fetch(267, VLN_getprosta, VLN_SOLUTION_INTEGER, status.problem);
  fetch(268, VLN_getsolsta, VLN_SOLUTION_INTEGER, status.solution);
  if (hasmatrixvariables()) fetchslice(271, VLN_getbarxslice, VLN_SOLUTION_INTEGER);

  report_.printtitle("Solution integer");
  printstatus(status, "");

  report_.printtitle("    Variables");
  report_.print(FMT_COMPILE("      # {:<6} {:<20} {:6} {:^24}\n"), "item", "name", "sta", "xx");
  for (std::int32_t i = 0; i < sizes_.numvar; ++i) {
    report_.print(FMT_COMPILE("      var{:04}: {:15} {} {}\n"), i, fetchname(VLN_getvarname, i),
                  keycells_[variables_.skx[asindex(i)]], number{variables_.xx[asindex(i)]});
  }
  if (hasmatrixvariables()) printintegerbarlisting();

  report_.printtitle("    Constraints");
  report_.print(FMT_COMPILE("      # {:<6} {:<15} {:6} {:24}\n"), "item", "name", "sta", "xc");
  for (std::int32_t i = 0; i < sizes_.numcon; ++i) {
    report_.print(FMT_COMPILE("    con{:04}: {:15} {} {}\n"), i, fetchname(VLN_getconname, i),
                  keycells_[constraints_.skc[asindex(i)]], number{constraints_.xc[asindex(i)]});
  }
  report_.flush();
}

// One running index j walks over variables and entries alike, with the name that was shown last and
// with zeros for row and column: this listing is a fixed pattern, not a walk over the triangles.
void PlainSolutionWriter::printintegerbarlisting() {
  report_.printtitle("    BarVariables");
  const auto dimension = [&](std::int32_t j) { return bars_.dims[asindex(j)]; };
  std::int32_t j = 0;
  while (j < sizes_.numbarvar) {
    report_.print(FMT_COMPILE("      barvar{:04}({}): {}\n"), j, dimension(j), currentname());
    report_.print(FMT_COMPILE("        # {:<10} {:^24}\n"), "index", "barx");
    std::int64_t k = 0;
    while (dimension(j) > 0) {
      for (; dimension(j) > 0; ++j, ++k) {
        report_.print(FMT_COMPILE("        [{:4},{:4}] {}\n"), 0, 0,
                      number{valueat(bars_.first, bars_.offsets[asindex(j)] + k)});
      }
      ++j;
    }
    ++j;
  }
}

// ---- Basic section

void PlainSolutionWriter::writebasic() {
  Status status;
  fetch(321, VLN_getskx, VLN_SOLUTION_BASIC, variables_.skx);
  fetch(322, VLN_getskc, VLN_SOLUTION_BASIC, constraints_.skc);
  fetch(323, VLN_getxx, VLN_SOLUTION_BASIC, variables_.xx);
  fetch(324, VLN_getslx, VLN_SOLUTION_BASIC, variables_.slx);
  fetch(325, VLN_getsux, VLN_SOLUTION_BASIC, variables_.sux);
  fetch(326, VLN_getxc, VLN_SOLUTION_BASIC, constraints_.xc);
  fetch(327, VLN_getslc, VLN_SOLUTION_BASIC, constraints_.slc);
  fetch(328, VLN_getsuc, VLN_SOLUTION_BASIC, constraints_.suc);
  fetch(329, VLN_gety, VLN_SOLUTION_BASIC, constraints_.y);
  fetchobjective(330, VLN_SOLUTION_BASIC, status.first_objective);
  fetchobjective(331, VLN_SOLUTION_BASIC, status.second_objective);
  fetch(332, VLN_getprosta, VLN_SOLUTION_BASIC, status.problem);
  fetch(333, VLN_getsolsta, VLN_SOLUTION_BASIC, status.solution);

  report_.printtitle("  Solution basic");
  printstatus(status, "    ");

  // No query has filled the snx column here: it shows zeros.
  report_.printtitle("    Variables");
  report_.print(FMT_COMPILE("    # {:<6} {:<20} {:6} {:^24} {:^24} {:^24} {:^24}\n"), "item",
                "name", "sta", "xx", "slx", "sux", "snx");
  printvariablerows();

  report_.printtitle("    Constraints");
  report_.print(FMT_COMPILE("      # {:<6} {:<20} {:6} {:^24} {:^24} {:^24} {:^24}\n"), "item",
                "name", "sta", "xc", "slc", "suc", "y");
  for (std::int32_t i = 0; i < sizes_.numcon; ++i) {
    const std::size_t k = asindex(i);
    report_.print(FMT_COMPILE("    con{:04}: {:15} {} {} {} {} {}\n"), i,
                  fetchname(VLN_getconname, i), keycells_[constraints_.skc[k]],
                  number{constraints_.xc[k]}, number{constraints_.slc[k]},
                  number{constraints_.suc[k]}, number{constraints_.y[k]});
  }
  report_.flush();
}

// ---- Interior section

void PlainSolutionWriter::writeinterior() {
  Status status;
  fetch(371, VLN_getskx, VLN_SOLUTION_INTERIOR, variables_.skx);
  fetch(372, VLN_getskc, VLN_SOLUTION_INTERIOR, constraints_.skc);
  fetch(373, VLN_getxx, VLN_SOLUTION_INTERIOR, variables_.xx);
  fetch(374, VLN_getslx, VLN_SOLUTION_INTERIOR, variables_.slx);
  fetch(375, VLN_getsux, VLN_SOLUTION_INTERIOR, variables_.sux);
  fetch(376, VLN_getsux, VLN_SOLUTION_INTERIOR, variables_.snx);  // the snx column repeats sux
  fetch(377, VLN_getxc, VLN_SOLUTION_INTERIOR, constraints_.xc);
  fetch(378, VLN_getslc, VLN_SOLUTION_INTERIOR, constraints_.slc);
  fetch(379, VLN_getsuc, VLN_SOLUTION_INTERIOR, constraints_.suc);
  fetch(380, VLN_gety, VLN_SOLUTION_INTERIOR, constraints_.y);
  fetchobjective(381, VLN_SOLUTION_INTERIOR, status.first_objective);
  fetchobjective(382, VLN_SOLUTION_INTERIOR, status.second_objective);
  fetch(383, VLN_getprosta, VLN_SOLUTION_INTERIOR, status.problem);
  fetch(384, VLN_getsolsta, VLN_SOLUTION_INTERIOR, status.solution);
  if (hasmatrixvariables()) {
    // Both slices go to the same buffer: the barx column shows bars, the bars column zeros.
    fetchslice(387, VLN_getbarxslice, VLN_SOLUTION_INTERIOR);
    fetchslice(388, VLN_getbarsslice, VLN_SOLUTION_INTERIOR);
  }

  report_.printtitle("  Solution interior");
  printstatus(status, "    ");

  report_.printtitle("    Variables");
  report_.print(FMT_COMPILE("      # {:<6} {:<20} {:6} {:^24} {:^24} {:^24} {:^24}\n"), "item",
                "name", "sta", "xx", "slx", "sux", "snx");
  printvariablerows();
  if (hasmatrixvariables()) printinteriorbarlisting();

  // The rows of the constraints show the columns of the variables, under the constraints' titles.
  report_.printtitle("    Constraints");
  report_.print(FMT_COMPILE("      # {:<6} {:<20} {:6} {:^24} {:^24} {:^24} {:^24}\n"), "item",
                "name", "sta", "xc", "slc", "suc", "y");
  for (std::int32_t i = 0; i < sizes_.numcon; ++i) {
    report_.print(FMT_COMPILE("      con{:04}: {:20} {} {} {} {} {}\n"), i,
                  fetchname(VLN_getconname, i), keycells_[constraints_.skc[asindex(i)]],
                  number{valueat(variables_.xx, i)}, number{valueat(variables_.slx, i)},
                  number{valueat(variables_.sux, i)}, number{valueat(variables_.snx, i)});
  }
  report_.flush();
}

void PlainSolutionWriter::printinteriorbarlisting() {
  report_.printtitle("    BarVariables");
  for (std::int32_t j = 0; j < sizes_.numbarvar; ++j) {
    report_.print(FMT_COMPILE("      barvar{:04}({}): {}\n"), j, bars_.dims[asindex(j)],
                  fetchname(VLN_getbarvarname, j));
    report_.print(FMT_COMPILE("        # {:<10} {:^24} {:^24}\n"), "index", "barx", "bars");
    printtriangle(j);
  }
}

// The packed lower triangle, column by column.
void PlainSolutionWriter::printtriangle(std::int32_t j) {
  const std::int32_t dimension = bars_.dims[asindex(j)];
  std::int64_t position = bars_.offsets[asindex(j)];
  for (std::int32_t column = 0; column < dimension; ++column) {
    for (std::int32_t row = column; row < dimension; ++row, ++position) {
      report_.print(FMT_COMPILE("        [{:4},{:4}] {} {}\n"), row, column,
                    number{valueat(bars_.first, position)},
                    number{valueat(bars_.second, position)});
    }
  }
}

}  // namespace

std::int32_t VLN_writeplainsol(vlntaskt* task, const char* filename) {
  PlainSolutionWriter(task, filename).write();
  return 0;
}
