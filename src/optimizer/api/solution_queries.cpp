// Queries of the solutions.
#include <algorithm>

#include "api/operation.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"
#include "task/status_words.h"
#include "task/text.h"

using namespace vorlan;
using namespace vorlan::api;

namespace {

Status check_selector(int32_t whichsol) {
  if (whichsol >= 0 && whichsol < kNumSolutions) return {};
  return {Code::kErrSolutionSelector, format_text("there is no solution %d", whichsol)};
}

// The defined solution of the kind, or nullptr and the failure.
const Solution* find_solution(const Task& task, int32_t whichsol, Status* failure) {
  *failure = check_selector(whichsol);
  if (!failure->ok()) return nullptr;
  const size_t kind = index(whichsol);
  if (task.solutions[kind].defined) return &task.solutions[kind];
  *failure = {Code::kErrSolutionUndefined,
              format_text("the task holds no %s solution", word_of(kSolutionKindNames, whichsol))};
  return nullptr;
}

// *out = query(solution) for a defined solution.
template <class Out, class Query>
VLNrescode_enum query_solution(vlntaskt* task, int32_t whichsol, const char* name, Out* out,
                               Query&& query) {
  return run(task, [&](Task& t) {
    Status status = check_selector(whichsol);
    if (!status.ok()) return status;
    if (out == nullptr) return null_argument(name);
    const Solution* solution = find_solution(t, whichsol, &status);
    if (solution != nullptr) *out = query(*solution);
    return status;
  });
}

// An empty array of the model has no storage for a caller to point to, hence no check of the
// pointer then.
template <class Element, class Out>
VLNrescode_enum copy_array(vlntaskt* task, int32_t whichsol, const char* name,
                           std::vector<Element> Solution::*array, Out* out) {
  return run(task, [&](Task& t) {
    Status status;
    const Solution* solution = find_solution(t, whichsol, &status);
    if (solution == nullptr) return status;
    const std::vector<Element>& source = solution->*array;
    if (source.empty()) return Status();
    if (out == nullptr) return null_argument(name);
    std::transform(source.begin(), source.end(), out,
                   [](Element element) { return static_cast<Out>(element); });
    return Status();
  });
}

VLNrescode_enum copy_slice(vlntaskt* task, int32_t whichsol, int32_t first, int32_t last,
                           int64_t slicesize, const char* name,
                           std::vector<double> Solution::*array, double* out) {
  return run(task, [&](Task& t) -> Status {
    Status status;
    const Solution* solution = find_solution(t, whichsol, &status);
    if (solution == nullptr) return status;
    if (first < 0 || last < first || last > t.model.num_matrix_var()) {
      return {Code::kErrIndexRange, format_text("matrix variables %d to %d: there are %d", first,
                                                last, t.model.num_matrix_var())};
    }
    const std::vector<size_t> starts = packed_starts(t.model);
    const size_t begin = starts[index(first)];
    const size_t size = starts[index(last)] - begin;
    if (slicesize != static_cast<int64_t>(size)) {
      return {Code::kErrSliceSize,
              format_text("a slice of %s was asked for as %lld",
                          counted(static_cast<int64_t>(size), "double").c_str(),
                          static_cast<long long>(slicesize))};
    }
    if (size == 0) return {};
    if (out == nullptr) return null_argument(name);
    std::copy_n((solution->*array).data() + begin, size, out);
    return {};
  });
}

}  // namespace

VLNrescode_enum VLN_solutiondef(vlntaskt* task, int32_t whichsol, int32_t* isdef) {
  return run(task, [=](Task& t) {
    Status status = check_selector(whichsol);
    if (!status.ok()) return status;
    if (isdef == nullptr) return null_argument("isdef");
    *isdef = t.solutions[index(whichsol)].defined ? 1 : 0;
    return status;
  });
}

VLNrescode_enum VLN_getprosta(vlntaskt* task, int32_t whichsol, int32_t* problemsta) {
  return query_solution(task, whichsol, "problemsta", problemsta, [](const Solution& solution) {
    return static_cast<int32_t>(solution.problem_status);
  });
}

VLNrescode_enum VLN_getsolsta(vlntaskt* task, int32_t whichsol, int32_t* solutionsta) {
  return query_solution(task, whichsol, "solutionsta", solutionsta, [](const Solution& solution) {
    return static_cast<int32_t>(solution.status);
  });
}

VLNrescode_enum VLN_getprimalobj(vlntaskt* task, int32_t whichsol, double* primalobj) {
  return query_solution(task, whichsol, "primalobj", primalobj,
                        [](const Solution& solution) { return solution.primal_objective; });
}

VLNrescode_enum VLN_getskx(vlntaskt* task, int32_t whichsol, int32_t* skx) {
  return copy_array(task, whichsol, "skx", &Solution::skx, skx);
}

VLNrescode_enum VLN_getskc(vlntaskt* task, int32_t whichsol, int32_t* skc) {
  return copy_array(task, whichsol, "skc", &Solution::skc, skc);
}

VLNrescode_enum VLN_getxx(vlntaskt* task, int32_t whichsol, double* xx) {
  return copy_array(task, whichsol, "xx", &Solution::xx, xx);
}

VLNrescode_enum VLN_getslx(vlntaskt* task, int32_t whichsol, double* slx) {
  return copy_array(task, whichsol, "slx", &Solution::slx, slx);
}

VLNrescode_enum VLN_getsux(vlntaskt* task, int32_t whichsol, double* sux) {
  return copy_array(task, whichsol, "sux", &Solution::sux, sux);
}

VLNrescode_enum VLN_getxc(vlntaskt* task, int32_t whichsol, double* xc) {
  return copy_array(task, whichsol, "xc", &Solution::xc, xc);
}

VLNrescode_enum VLN_getslc(vlntaskt* task, int32_t whichsol, double* slc) {
  return copy_array(task, whichsol, "slc", &Solution::slc, slc);
}

VLNrescode_enum VLN_getsuc(vlntaskt* task, int32_t whichsol, double* suc) {
  return copy_array(task, whichsol, "suc", &Solution::suc, suc);
}

VLNrescode_enum VLN_gety(vlntaskt* task, int32_t whichsol, double* y) {
  return copy_array(task, whichsol, "y", &Solution::y, y);
}

VLNrescode_enum VLN_getbarxslice(vlntaskt* task, int32_t whichsol, int32_t first, int32_t last,
                                 int64_t slicesize, double* barxslice) {
  return copy_slice(task, whichsol, first, last, slicesize, "barxslice", &Solution::barx,
                    barxslice);
}

VLNrescode_enum VLN_getbarsslice(vlntaskt* task, int32_t whichsol, int32_t first, int32_t last,
                                 int64_t slicesize, double* barsslice) {
  return copy_slice(task, whichsol, first, last, slicesize, "barsslice", &Solution::bars,
                    barsslice);
}
