// The pattern of what is left is found once, with the place of each element and of each product of
// two elements of a column. A factorization then adds values at these places.
#include "solve/conic/condensed_ldl.h"

#include <algorithm>
#include <limits>
#include <new>
#include <numeric>
#include <utility>

#include "task/numeric.h"

namespace vorlan::conic {
namespace {

// A node with more neighbours is left to the order for little fill: d neighbours become neighbours of
// each other, which is d^2/2 elements for d.
constexpr int64_t kMostNeighbours = 8;

}  // namespace

void CondensedLdl::set_pivot_rule(const PivotRule& rule) {
  pivot_rule_ = rule;
  rest_.set_pivot_rule(rule);
}

void CondensedLdl::analyze(const UpperTriangle& matrix, std::span<const int32_t> candidates,
                           std::span<const int32_t> last) {
  // Places are kept in 32 bits. A matrix of more elements would not fit into memory either.
  constexpr auto kMostElements = static_cast<size_t>(std::numeric_limits<int32_t>::max()) / 4;
  if (matrix.row.size() > kMostElements) throw std::bad_alloc();
  {
    const FewNeighbours few = find_few(matrix, candidates);
    take_columns(few, choose_condensed(few, matrix.order), matrix);
  }
  rest_signs_.resize(node_of_.size());
  first_.resize(condensed_.size());
  work_.resize(node_of_.size());
  std::vector<int32_t> last_places;
  for (const int32_t node : last) last_places.push_back(place_[index(node)]);
  rest_.analyze(pattern_of_rest(matrix), last_places);
  const std::vector<int32_t> places = rest_.take_places();
  for (auto* targets : {&target_, &product_target_}) {
    for (int32_t& target : *targets) {
      if (target >= 0) target = places[index(target)];
    }
  }
}

// The candidates with few neighbours, and these.
CondensedLdl::FewNeighbours CondensedLdl::find_few(const UpperTriangle& matrix,
                                                   std::span<const int32_t> candidates) {
  std::vector<int64_t> degree(index(matrix.order), 0);
  matrix.for_each([&](int32_t row, int32_t col, size_t /*place*/) {
    if (row == col) return;
    ++degree[index(row)];
    ++degree[index(col)];
  });
  FewNeighbours few;
  std::vector<int64_t> next(degree.size(), -1);
  few.start.push_back(0);
  for (const int32_t node : candidates) {
    if (degree[index(node)] > kMostNeighbours) continue;
    few.nodes.push_back(node);
    // The diagonal element stands in front.
    next[index(node)] = few.start.back() + 1;
    few.start.push_back(few.start.back() + 1 + degree[index(node)]);
  }
  few.neighbour.resize(index(few.start.back()));
  few.element.resize(few.neighbour.size());
  const auto put = [&few](int64_t place, int32_t neighbour, size_t element) {
    few.neighbour[index(place)] = neighbour;
    few.element[index(place)] = static_cast<int32_t>(element);
  };
  const std::vector<int64_t> first = next;
  matrix.for_each([&](int32_t row, int32_t col, size_t element) {
    if (row == col) {
      if (first[index(row)] >= 0) put(first[index(row)] - 1, row, element);
      return;
    }
    if (next[index(row)] >= 0) put(next[index(row)]++, col, element);
    if (next[index(col)] >= 0) put(next[index(col)]++, row, element);
  });
  return few;
}

// Those with the fewest neighbours come first, and none next to one before it.
std::vector<size_t> CondensedLdl::choose_condensed(const FewNeighbours& few, int32_t order) {
  std::vector<size_t> chosen;
  std::vector<bool> is_beside(index(order), false);
  for (int64_t degree = 0; degree <= kMostNeighbours; ++degree) {
    for (size_t k = 0; k < few.nodes.size(); ++k) {
      if (few.start[k + 1] - few.start[k] - 1 != degree) continue;
      if (is_beside[index(few.nodes[k])]) continue;
      chosen.push_back(k);
      for (int64_t p = few.start[k] + 1; p < few.start[k + 1]; ++p) {
        is_beside[index(few.neighbour[index(p)])] = true;
      }
    }
  }
  std::sort(chosen.begin(), chosen.end());
  return chosen;
}

// Numbers the nodes, and gives the elements of the condensed ones their places.
void CondensedLdl::take_columns(const FewNeighbours& few, const std::vector<size_t>& chosen,
                                const UpperTriangle& matrix) {
  place_.assign(index(matrix.order), 0);
  condensed_.clear();
  condensed_.reserve(chosen.size());
  for (const size_t k : chosen) {
    condensed_.push_back(few.nodes[k]);
    place_[index(few.nodes[k])] = ~(static_cast<int32_t>(condensed_.size()) - 1);
  }
  node_of_.clear();
  node_of_.reserve(index(matrix.order) - condensed_.size());
  for (int32_t node = 0; node < matrix.order; ++node) {
    if (place_[index(node)] < 0) continue;
    place_[index(node)] = static_cast<int32_t>(node_of_.size());
    node_of_.push_back(node);
  }
  target_.assign(matrix.row.size(), 0);
  start_.assign(1, 0);
  start_.reserve(chosen.size() + 1);
  row_.clear();
  size_t num_elements = 0;
  for (const size_t k : chosen) num_elements += index(few.start[k + 1] - few.start[k]);
  row_.reserve(num_elements);
  for (const size_t k : chosen) {
    for (int64_t p = few.start[k]; p < few.start[k + 1]; ++p) {
      target_[index(few.element[index(p)])] = ~static_cast<int32_t>(row_.size());
      row_.push_back(place_[index(few.neighbour[index(p)])]);
    }
    start_.push_back(static_cast<int64_t>(row_.size()));
  }
  value_.assign(row_.size(), 0.0);
  pivot_.assign(condensed_.size(), 1.0);
}

// The matrix's own elements and the products, those of the same place as one element. Targets become
// numbers of elements of the pattern.
UpperTriangle CondensedLdl::pattern_of_rest(const UpperTriangle& matrix) {
  size_t num_products = 0;
  for (size_t c = 0; c < condensed_.size(); ++c) {
    const auto count = static_cast<size_t>(start_[c + 1] - start_[c] - 1);
    num_products += count * (count + 1) / 2;
  }
  product_target_.resize(num_products);
  // Each contribution: its row, and the target that is to know its place; by columns.
  struct Contribution {
    int32_t row;
    int32_t* target;
  };
  const auto for_each = [&](const auto& act) {
    matrix.for_each([&](int32_t row, int32_t col, size_t k) {
      if (target_[k] < 0) return;
      const int32_t a = place_[index(row)];
      const int32_t b = place_[index(col)];
      act(std::min(a, b), std::max(a, b), &target_[k]);
    });
    int32_t* target = product_target_.data();
    for (size_t c = 0; c < condensed_.size(); ++c) {
      for (int64_t p = start_[c] + 1; p < start_[c + 1]; ++p) {
        for (int64_t q = start_[c] + 1; q <= p; ++q) {
          const int32_t a = row_[index(q)];
          const int32_t b = row_[index(p)];
          act(std::min(a, b), std::max(a, b), target++);
        }
      }
    }
  };
  std::vector<int64_t> start(node_of_.size() + 1, 0);
  for_each([&](int32_t /*row*/, int32_t col, int32_t* /*target*/) { ++start[index(col) + 1]; });
  std::partial_sum(start.begin(), start.end(), start.begin());
  std::vector<Contribution> all(index(start.back()));
  std::vector<int64_t> next(start.begin(), start.end() - 1);
  for_each([&](int32_t row, int32_t col, int32_t* target) {
    all[index(next[index(col)]++)] = {row, target};
  });

  UpperTriangle rest;
  rest.order = static_cast<int32_t>(node_of_.size());
  std::vector<int32_t> at(node_of_.size(), -1);
  for (size_t col = 0; col < node_of_.size(); ++col) {
    const auto first = static_cast<int32_t>(rest.row.size());
    for (int64_t k = start[col]; k < start[col + 1]; ++k) {
      const auto& [row, target] = all[index(k)];
      int32_t& place = at[index(row)];
      if (place < first) {
        place = static_cast<int32_t>(rest.row.size());
        rest.row.push_back(row);
      }
      *target = place;
    }
    rest.start.push_back(static_cast<int64_t>(rest.row.size()));
  }
  return rest;
}

void CondensedLdl::factor(const UpperTriangle& matrix, std::span<const int8_t> signs) {
  const std::span<double> rest = rest_.values();
  std::fill(rest.begin(), rest.end(), 0.0);
  for (size_t k = 0; k < target_.size(); ++k) {
    const int32_t target = target_[k];
    if (target >= 0) {
      rest[index(target)] += matrix.value[k];
    } else {
      value_[index(~target)] = matrix.value[k];
    }
  }
  replaced_.clear();
  condense(signs);
  for (size_t k = 0; k < node_of_.size(); ++k) rest_signs_[k] = signs[index(node_of_[k])];
  rest_.factor(rest_signs_);
  for (const int32_t place : rest_.replaced()) replaced_.push_back(node_of_[index(place)]);
}

void CondensedLdl::condense(std::span<const int8_t> signs) {
  const std::span<double> rest = rest_.values();
  const int32_t* target = product_target_.data();
  for (size_t c = 0; c < condensed_.size(); ++c) {
    const size_t begin = index(start_[c]);
    const size_t end = index(start_[c + 1]);
    const double diagonal = value_[begin];
    pivot_[c] = pivot_rule_.apply(diagonal, signs[index(condensed_[c])]);
    if (pivot_[c] != diagonal) replaced_.push_back(condensed_[c]);
    for (size_t p = begin + 1; p < end; ++p) {
      const double l = value_[p] / pivot_[c];
      for (size_t q = begin + 1; q <= p; ++q) rest[index(*target++)] -= value_[q] * l;
    }
  }
}

void CondensedLdl::solve(std::span<double> rhs) const {
  for (size_t k = 0; k < node_of_.size(); ++k) work_[k] = rhs[index(node_of_[k])];
  for (size_t c = 0; c < condensed_.size(); ++c) {
    const double x = rhs[index(condensed_[c])] / pivot_[c];
    first_[c] = x;
    if (x == 0.0) continue;
    for (size_t p = index(start_[c]) + 1; p < index(start_[c + 1]); ++p) {
      work_[index(row_[p])] -= value_[p] * x;
    }
  }
  rest_.solve(work_);
  for (size_t c = 0; c < condensed_.size(); ++c) {
    double sum = 0.0;
    for (size_t p = index(start_[c]) + 1; p < index(start_[c + 1]); ++p) {
      sum += value_[p] * work_[index(row_[p])];
    }
    rhs[index(condensed_[c])] = first_[c] - sum / pivot_[c];
  }
  for (size_t k = 0; k < node_of_.size(); ++k) rhs[index(node_of_[k])] = work_[k];
}

int64_t CondensedLdl::num_elements() const {
  return static_cast<int64_t>(row_.size()) + rest_.num_elements();
}

}  // namespace vorlan::conic
