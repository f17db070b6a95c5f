// Files in memory and the comparison of models; see round_trip.h.
#include "round_trip.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <random>
#include <tuple>

#include "file/descriptor_io.h"
#include "task/text.h"

namespace vorlan::test {
namespace {

class MemoryFile {
 public:
  explicit MemoryFile(std::string_view content) : file_(::memfd_create("text", MFD_CLOEXEC)) {
    write_all(file_.get(), content);
    ::lseek(file_.get(), 0, SEEK_SET);
  }

  std::string path() const { return format_text("/proc/self/fd/%d", file_.get()); }

  std::string content() const {
    std::string text(static_cast<size_t>(::lseek(file_.get(), 0, SEEK_END)), '\0');
    ::lseek(file_.get(), 0, SEEK_SET);
    size_t size = 0;
    while (size < text.size()) {
      const ssize_t count = read_some(file_.get(), text.data() + size, text.size() - size);
      if (count <= 0) break;
      size += static_cast<size_t>(count);
    }
    text.resize(size);
    return text;
  }

 private:
  Descriptor file_;
};

bool same(double a, double b) { return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b); }

bool same(const std::vector<double>& a, const std::vector<double>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](double x, double y) { return same(x, y); });
}

bool same(const TriangleEntry& a, const TriangleEntry& b) {
  return a.row == b.row && a.col == b.col && same(a.value, b.value);
}

bool same(const ConQuadraticEntry& a, const ConQuadraticEntry& b) {
  return a.con == b.con && same(a.entry, b.entry);
}

bool same(const MatrixCostEntry& a, const MatrixCostEntry& b) {
  return a.matrix_var == b.matrix_var && same(a.entry, b.entry);
}

bool same(const MatrixCoefficient& a, const MatrixCoefficient& b) {
  return a.con == b.con && a.matrix_var == b.matrix_var && same(a.entry, b.entry);
}

bool same(const Cone& a, const Cone& b) {
  return a.kind == b.kind && a.vars == b.vars && same(a.exponents, b.exponents);
}

bool same(const OrderedSet& a, const OrderedSet& b) {
  return a.kind == b.kind && a.vars == b.vars && same(a.weights, b.weights);
}

bool same(const Indicator& a, const Indicator& b) {
  return a.con == b.con && a.binary == b.binary && a.active == b.active;
}

bool same(const MatrixVariable& a, const MatrixVariable& b) { return a.dimension == b.dimension; }

template <class List>
bool same_list(const List& a, const List& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& x, const auto& y) { return same(x, y); });
}

std::string name_difference(const char* kind, const NameList& a, const NameList& b, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (a[i] == b[i]) continue;
    return format_text("%s %zu: '%s' and '%s'", kind, i, std::string(a[i]).c_str(),
                       std::string(b[i]).c_str());
  }
  return {};
}

}  // namespace

Status read_text(ProblemReader read, std::string_view text, ProblemFile* file, Warnings* warnings) {
  const MemoryFile source(text);
  InputStream input;
  Status status = input.open(source.path().c_str(), "text", Compression::kNone);
  if (!status.ok()) return status;
  ReadLimits limits;
  limits.declared = int64_t{16} << 20;
  return read(&input, limits, file, warnings);
}

Status write_text(ProblemWriter write, const ProblemFile& file, std::string* text,
                  Warnings* warnings) {
  const MemoryFile target("");
  OutputFile output;
  Status status = output.open(target.path().c_str(), "text", Compression::kNone);
  if (status.ok())
    status = write({file.model, file.solutions, true, file.parameters}, &output, warnings);
  if (status.ok()) status = output.finish();
  if (status.ok()) *text = target.content();
  return status;
}

std::string difference(const Model& a, const Model& b) {
  if (a.name != b.name) return "name: '" + a.name + "' and '" + b.name + "'";
  if (a.objective_name != b.objective_name) {
    return "objective's name: '" + a.objective_name + "' and '" + b.objective_name + "'";
  }
  if (a.maximize != b.maximize) return "sense";
  if (!same(a.constant, b.constant)) return "constant";
  if (!same(a.cost, b.cost)) return "cost";
  if (!same(a.var_lower, b.var_lower)) return "lower bounds";
  if (!same(a.var_upper, b.var_upper)) return "upper bounds";
  if (a.var_kind != b.var_kind) return "kinds of variables";
  if (!same(a.con_lower, b.con_lower)) return "lower sides";
  if (!same(a.con_upper, b.con_upper)) return "upper sides";
  if (a.matrix.start != b.matrix.start) return "starts of columns";
  if (a.matrix.row != b.matrix.row) return "rows of elements";
  if (!same(a.matrix.value, b.matrix.value)) return "values of elements";
  if (!same_list(a.quadratic_cost, b.quadratic_cost)) return "quadratic cost";
  if (!same_list(a.quadratic_coefficients, b.quadratic_coefficients)) return "quadratic terms";
  if (!same_list(a.matrix_cost, b.matrix_cost)) return "matrix cost";
  if (!same_list(a.matrix_coefficients, b.matrix_coefficients)) return "matrix coefficients";
  if (!same_list(a.cones, b.cones)) return "cones";
  if (!same_list(a.matrix_vars, b.matrix_vars)) return "matrix variables";
  if (!same_list(a.sets, b.sets)) return "sets";
  if (!same_list(a.indicators, b.indicators)) return "indicators";
  for (const auto& [kind, list, count] :
       {std::tuple("variable", &Model::var_names, a.cost.size()),
        std::tuple("constraint", &Model::con_names, a.con_lower.size()),
        std::tuple("cone", &Model::cone_names, a.cones.size()),
        std::tuple("set", &Model::set_names, a.sets.size()),
        std::tuple("matrix variable", &Model::matrix_var_names, a.matrix_vars.size())}) {
    std::string names = name_difference(kind, a.*list, b.*list, count);
    if (!names.empty()) return names;
  }
  return {};
}

std::string difference(const Solution& a, const Solution& b) {
  if (a.defined != b.defined) return "defined";
  if (a.problem_status != b.problem_status) return "problem status";
  if (a.status != b.status) return "solution status";
  if (!same(a.primal_objective, b.primal_objective)) return "primal objective";
  if (!same(a.dual_objective, b.dual_objective)) return "dual objective";
  if (a.skx != b.skx) return "keys of variables";
  if (a.skc != b.skc) return "keys of constraints";
  for (const auto& [name, list] :
       {std::pair("xx", &Solution::xx), std::pair("slx", &Solution::slx),
        std::pair("sux", &Solution::sux), std::pair("xc", &Solution::xc),
        std::pair("slc", &Solution::slc), std::pair("suc", &Solution::suc),
        std::pair("y", &Solution::y), std::pair("snx", &Solution::snx),
        std::pair("barx", &Solution::barx), std::pair("bars", &Solution::bars)}) {
    if (!same(a.*list, b.*list)) return name;
  }
  return {};
}

std::string difference(const Solutions& a, const Solutions& b) {
  for (size_t kind = 0; kind < a.size(); ++kind) {
    const std::string found = difference(a[kind], b[kind]);
    if (!found.empty()) return format_text("solution %zu: %s", kind, found.c_str());
  }
  return {};
}

std::string difference(const ProblemFile& a, const ProblemFile& b) {
  const auto sorted = [](const ProblemFile& file) {
    std::vector<std::pair<std::string, std::string>> settings;
    for (const ParameterSetting& setting : file.parameters) {
      settings.emplace_back(setting.name, setting.value);
    }
    // The later one of two with one name counts.
    std::stable_sort(settings.begin(), settings.end(),
                     [](const auto& x, const auto& y) { return x.first < y.first; });
    return settings;
  };
  std::string found = difference(a.model, b.model);
  if (found.empty()) found = difference(a.solutions, b.solutions);
  if (found.empty() && sorted(a) != sorted(b)) found = "parameters";
  return found;
}

std::string round_trip_fault(ProblemReader read, ProblemWriter write, std::string_view text) {
  ProblemFile first, second;
  Warnings warnings;
  Status status = read_text(read, text, &first, &warnings);
  if (!status.ok()) return status.message().empty() ? "refused without a message" : "";
  std::string written, rewritten;
  status = write_text(write, first, &written, &warnings);
  if (!status.ok()) return "what was read cannot be written: " + status.message();
  status = read_text(read, written, &second, &warnings);
  if (!status.ok()) return "what was written cannot be read: " + status.message() + "\n" + written;
  const std::string found = difference(first, second);
  if (!found.empty()) return "the problem has changed: " + found + "\n" + written;
  status = write_text(write, second, &rewritten, &warnings);
  if (!status.ok()) return "the second writing failed: " + status.message();
  return written == rewritten ? "" : "the second writing differs:\n" + written + rewritten;
}

std::string mutated(std::string text, uint32_t seed) {
  std::mt19937 random(seed);
  const auto below = [&random](size_t limit) { return random() % std::max<size_t>(limit, 1); };
  for (size_t count = 1 + below(4); count > 0 && !text.empty(); --count) {
    const size_t at = below(text.size());
    const size_t from = below(text.size());
    const size_t length = 1 + below(std::min<size_t>(12, text.size() - std::max(at, from)));
    const std::string piece = text.substr(from, length);
    switch (below(5)) {
      case 0:
        text[at] = static_cast<char>(random());
        break;
      case 1:
        text.erase(at, length);
        break;
      case 2:
        text.insert(at, piece);
        break;
      case 3:
        text.replace(at, length, piece);
        break;
      default:
        text[at] = " \n0123456789.eE-+*$"[below(19)];
    }
  }
  return text;
}

}  // namespace vorlan::test
