// See synthetic_library.h. A column repeats a table of numbers whose length is prime and large
// enough that neither the caches nor the branch predictors learn it.
#include "synthetic_library.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kPeriod = 65521;

// Shares of numbers that have up to six digits and of numbers that have all; the rest are zeros.
struct Shares {
  double brief;
  double full;
};

// Measured on 48 public linear problems. A reduced cost (a constraint's dual) is shown by one of
// the two duals of the bounds; most variables that have one are at their lower bound.
constexpr Shares kSharesXx = {0.17, 0.16};
constexpr Shares kSharesReducedcost = {0.12, 0.52};
constexpr double kShareAtLower = 0.75;
constexpr Shares kSharesXc = {0.20, 0.10};
constexpr Shares kSharesY = {0.17, 0.47};
constexpr double kShareYAtLower = 0.5;

using Table = std::vector<double>;

class Source {
 public:
  explicit Source(unsigned seed) : engine_(seed) {}

  double unit() { return std::uniform_real_distribution<double>(0.0, 1.0)(engine_); }

  double draw(const Shares& shares) {
    const double choice = unit();
    if (choice < shares.full) return full();
    return choice < shares.full + shares.brief ? brief() : 0.0;
  }

  // A magnitude from 1e-4 to 1e6.
  double full() { return std::exp2(unit() * 33.2 - 13.3) * (1.0 + unit()); }

 private:
  // A quarter, a tenth or a whole number.
  double brief() {
    constexpr std::array<double, 4> divisors = {1.0, 1.0, 4.0, 10.0};
    const auto choice = static_cast<std::size_t>(unit() * 4.0);
    return std::ceil(unit() * 999.0) / divisors[choice];
  }

  std::mt19937_64 engine_;
};

struct Tables {
  Table xx, slx, sux, xc, slc, suc, y;
  std::vector<std::int32_t> keys;
  std::vector<std::string> names;

  explicit Tables(Numbers numbers) {
    Source source(20240229);
    const bool mixed = numbers == Numbers::Mixed;
    const auto draw = [&](const Shares& shares) {
      return mixed ? source.draw(shares) : source.full();
    };
    // One of the two is zero, unless all numbers are to have all digits.
    const auto split = [&](const Shares& shares, double at_lower, Table& lower, Table& upper) {
      const bool takes_lower = source.unit() < at_lower;
      lower.push_back(takes_lower || !mixed ? draw(shares) : 0.0);
      upper.push_back(!takes_lower || !mixed ? draw(shares) : 0.0);
    };
    for (std::size_t i = 0; i < kPeriod; ++i) {
      xx.push_back(draw(kSharesXx));
      split(kSharesReducedcost, kShareAtLower, slx, sux);
      xc.push_back(draw(kSharesXc));
      split(kSharesY, kShareYAtLower, slc, suc);
      y.push_back(slc.back() - suc.back());
      keys.push_back(slx.back() != 0.0 ? 3 : sux.back() != 0.0 ? 4 : 1);
    }
    for (int i = 0; i < 1000; ++i) {
      std::array<char, 24> name{};
      std::snprintf(name.data(), name.size(), "%s[%d,%d]", i % 2 == 0 ? "flow" : "stock",
                    i * 37 % 1000, i * 7919 % 365);
      names.emplace_back(name.data());
    }
  }
};

const Tables& tables(const vlntaskt* task) {
  static const Tables mixed(Numbers::Mixed);
  static const Tables full(Numbers::Full);
  return task->numbers == Numbers::Mixed ? mixed : full;
}

template <typename T>
VLNrescode_enum fill(const vlntaskt* task, const std::vector<T>& table, T* column) {
  const auto rows = static_cast<std::size_t>(task->rows);
  for (std::size_t done = 0; done < rows; done += kPeriod) {
    std::copy_n(table.begin(), std::min(kPeriod, rows - done), column + done);
  }
  return VLN_RES_OK;
}

template <typename T>
VLNrescode_enum give(T* out, T value) {
  *out = value;
  return VLN_RES_OK;
}

VLNrescode_enum givename(const vlntaskt* task, std::int32_t index, std::int32_t size, char* out) {
  const std::vector<std::string>& names = tables(task).names;
  const std::string& name = names[static_cast<std::size_t>(index) % names.size()];
  if (static_cast<std::size_t>(size) <= name.size()) return static_cast<VLNrescode_enum>(1);
  std::memcpy(out, name.c_str(), name.size() + 1);
  return VLN_RES_OK;
}

}  // namespace

extern "C" {

VLNrescode_enum VLN_getnumvar(vlntaskt* task, int32_t* numvar) { return give(numvar, task->rows); }
VLNrescode_enum VLN_getnumcon(vlntaskt* task, int32_t* numcon) { return give(numcon, task->rows); }
VLNrescode_enum VLN_getnumbarvar(vlntaskt* /*task*/, int32_t* numbarvar) {
  return give(numbarvar, 0);
}
VLNrescode_enum VLN_getdimbarvarj(vlntaskt* /*task*/, int32_t /*j*/, int32_t* dimbarvarj) {
  return give(dimbarvarj, 0);
}
VLNrescode_enum VLN_getmaxnamelen(vlntaskt* /*task*/, int32_t* maxlen) { return give(maxlen, 24); }

VLNrescode_enum VLN_solutiondef(vlntaskt* /*task*/, int32_t whichsol, int32_t* isdef) {
  return give(isdef, whichsol == 1 ? 1 : 0);
}
VLNrescode_enum VLN_getprosta(vlntaskt* /*task*/, int32_t /*whichsol*/, int32_t* problemsta) {
  return give(problemsta, 1);
}
VLNrescode_enum VLN_getsolsta(vlntaskt* /*task*/, int32_t /*whichsol*/, int32_t* solutionsta) {
  return give(solutionsta, 1);
}
VLNrescode_enum VLN_getprimalobj(vlntaskt* /*task*/, int32_t /*whichsol*/, double* primalobj) {
  return give(primalobj, -464.7531428571429);
}

VLNrescode_enum VLN_getskx(vlntaskt* task, int32_t /*whichsol*/, int32_t* skx) {
  return fill(task, tables(task).keys, skx);
}
VLNrescode_enum VLN_getskc(vlntaskt* task, int32_t /*whichsol*/, int32_t* skc) {
  return fill(task, tables(task).keys, skc);
}
VLNrescode_enum VLN_getxx(vlntaskt* task, int32_t /*whichsol*/, double* xx) {
  return fill(task, tables(task).xx, xx);
}
VLNrescode_enum VLN_getslx(vlntaskt* task, int32_t /*whichsol*/, double* slx) {
  return fill(task, tables(task).slx, slx);
}
VLNrescode_enum VLN_getsux(vlntaskt* task, int32_t /*whichsol*/, double* sux) {
  return fill(task, tables(task).sux, sux);
}
VLNrescode_enum VLN_getxc(vlntaskt* task, int32_t /*whichsol*/, double* xc) {
  return fill(task, tables(task).xc, xc);
}
VLNrescode_enum VLN_getslc(vlntaskt* task, int32_t /*whichsol*/, double* slc) {
  return fill(task, tables(task).slc, slc);
}
VLNrescode_enum VLN_getsuc(vlntaskt* task, int32_t /*whichsol*/, double* suc) {
  return fill(task, tables(task).suc, suc);
}
VLNrescode_enum VLN_gety(vlntaskt* task, int32_t /*whichsol*/, double* y) {
  return fill(task, tables(task).y, y);
}
VLNrescode_enum VLN_getbarxslice(vlntaskt* /*task*/, int32_t /*whichsol*/, int32_t /*first*/,
                                 int32_t /*last*/, int64_t /*slicesize*/, double* /*barxslice*/) {
  return VLN_RES_OK;
}
VLNrescode_enum VLN_getbarsslice(vlntaskt* /*task*/, int32_t /*whichsol*/, int32_t /*first*/,
                                 int32_t /*last*/, int64_t /*slicesize*/, double* /*barsslice*/) {
  return VLN_RES_OK;
}

VLNrescode_enum VLN_getvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name) {
  return givename(task, j, sizename, name);
}
VLNrescode_enum VLN_getconname(vlntaskt* task, int32_t i, int32_t sizename, char* name) {
  return givename(task, i, sizename, name);
}
VLNrescode_enum VLN_getbarvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name) {
  return givename(task, j, sizename, name);
}
}
