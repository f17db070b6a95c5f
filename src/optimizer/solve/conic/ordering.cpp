// METIS is loaded by the process that runs it, and gives the same order for the same graph: its random
// numbers start from a seed that is set.
#include "solve/conic/ordering.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <numeric>

#include "task/numeric.h"

namespace vorlan::conic {
namespace {

// What METIS 5 declares in metis.h, as Debian builds it: numbers of 32 bits.
constexpr int kOptions = 40;    // METIS_NOPTIONS
constexpr int kSeedOption = 8;  // METIS_OPTION_SEED
constexpr int kSuccess = 1;     // METIS_OK
constexpr int32_t kSeed = 1;
using SetDefaultOptions = int (*)(int32_t*);
using OrderByDissection = int (*)(int32_t*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*,
                                  int32_t*);

// Memory that a child process writes and its parent reads.
class SharedNumbers {
 public:
  explicit SharedNumbers(size_t count) : size_(count * sizeof(int32_t)) {
    void* const found =
        mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (found != MAP_FAILED) data_ = static_cast<int32_t*>(found);
  }
  SharedNumbers(const SharedNumbers&) = delete;
  SharedNumbers& operator=(const SharedNumbers&) = delete;
  ~SharedNumbers() {
    if (data_ != nullptr) munmap(data_, size_);
  }
  int32_t* data() const { return data_; }

 private:
  size_t size_;
  int32_t* data_ = nullptr;
};

// Of each node the neighbours, both ways.
struct Graph {
  std::vector<int32_t> start, neighbour;
};

Graph graph_of(const NumberedNodes& nodes) {
  const auto for_each_pair = [&nodes](const auto& act) {
    nodes.matrix.for_each([&](int32_t row, int32_t col, size_t /*place*/) {
      const int32_t i = nodes.number[index(row)];
      const int32_t j = nodes.number[index(col)];
      if (i >= 0 && j >= 0 && i != j) act(i, j);
    });
  };
  Graph graph;
  graph.start.assign(index(nodes.count) + 1, 0);
  for_each_pair([&](int32_t i, int32_t j) {
    ++graph.start[index(i) + 1];
    ++graph.start[index(j) + 1];
  });
  std::partial_sum(graph.start.begin(), graph.start.end(), graph.start.begin());
  graph.neighbour.resize(index(graph.start.back()));
  std::vector<int32_t> next(graph.start.begin(), graph.start.end() - 1);
  for_each_pair([&](int32_t i, int32_t j) {
    graph.neighbour[index(next[index(i)]++)] = j;
    graph.neighbour[index(next[index(j)]++)] = i;
  });
  return graph;
}

// In the child: leaves the order and, behind it, a 1.
void dissect(const NumberedNodes& nodes, int32_t* order) {
  void* const library = dlopen("libmetis.so.5", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return;
  const auto set_defaults =
      reinterpret_cast<SetDefaultOptions>(dlsym(library, "METIS_SetDefaultOptions"));
  const auto find_order = reinterpret_cast<OrderByDissection>(dlsym(library, "METIS_NodeND"));
  if (set_defaults == nullptr || find_order == nullptr) return;
  int32_t options[kOptions];
  set_defaults(options);
  options[kSeedOption] = kSeed;
  Graph graph = graph_of(nodes);
  int32_t count = nodes.count;
  std::vector<int32_t> place(index(count));
  if (find_order(&count, graph.start.data(), graph.neighbour.data(), nullptr, options, order,
                 place.data()) == kSuccess) {
    order[count] = 1;
  }
}

// An exception must not leave the child, which would go on with the solve beside its parent.
void dissect_alone(const NumberedNodes& nodes, int32_t* order) noexcept {
  try {
    dissect(nodes, order);
  } catch (const std::exception&) {
    return;  // without memory there is no order
  }
}

}  // namespace

std::vector<int32_t> minimum_degree_order(const NumberedNodes& nodes) {
  const auto& [matrix, number, count] = nodes;
  if (count == 0) return {};
  // A pattern without numbers: elements of one byte.
  using Pattern = Eigen::SparseMatrix<int8_t, Eigen::ColMajor, int32_t>;
  std::vector<int32_t> start = {0};
  std::vector<int32_t> row;
  for (int32_t col = 0; col < matrix.order; ++col) {
    if (number[index(col)] < 0) continue;
    for (int64_t k = matrix.start[index(col)]; k < matrix.start[index(col) + 1]; ++k) {
      const int32_t i = number[index(matrix.row[index(k)])];
      if (i >= 0) row.push_back(i);
    }
    start.push_back(static_cast<int32_t>(row.size()));
  }
  const std::vector<int8_t> value(row.size(), 1);
  const Eigen::Map<const Pattern> pattern(count, count, start.back(), start.data(), row.data(),
                                          value.data());
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int32_t> permutation;
  Eigen::AMDOrdering<int32_t> order;
  order(pattern.selfadjointView<Eigen::Upper>(), permutation);
  // indices()[k] is the node eliminated k-th.
  return {permutation.indices().data(), permutation.indices().data() + count};
}

std::vector<int32_t> nested_dissection_order(const NumberedNodes& nodes) {
  const size_t count = index(nodes.count);
  const SharedNumbers shared(count + 1);
  if (shared.data() == nullptr) return {};
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process < 0) return {};
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == parent) dissect_alone(nodes, shared.data());
    _exit(EXIT_SUCCESS);
  }
  // A program that waits for all of its children may have this one's status. The 1 tells all the same.
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
  if (shared.data()[count] != 1) return {};
  return {shared.data(), shared.data() + count};
}

}  // namespace vorlan::conic
