// Reading the document of a task; see task_file.h. Values go into the model as they come; what
// they have to do with each other is checked when all of them are there, since keys come in any
// order.
#include <algorithm>
#include <array>
#include <limits>
#include <tuple>

#include "file/text_reader.h"
#include "format/common/coordinates.h"
#include "format/common/declared_memory.h"
#include "format/common/model_check.h"
#include "format/document/cbor_document.h"
#include "format/document/json_document.h"
#include "format/task/solution_file.h"
#include "format/task/task_document.h"
#include "format/task/task_file.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// A list of entries as it is in the document: an array for each member.
struct EntryArrays {
  std::vector<int32_t> con, matrix_var, row, col;
  std::vector<double> value;
  Mark mark;
};

// The arrays of a list of cones.
struct ConeArrays {
  std::vector<uint8_t> kind;
  std::vector<int32_t> size, members, exponent_count;
  std::vector<double> exponents;
};

// Turns arrays into the model's sorted list, and gives their memory back.
template <class Entry, class Make>
void build_entries(EntryArrays* arrays, std::vector<Entry>* entries, Make make) {
  entries->reserve(arrays->value.size());
  for (size_t k = 0; k < arrays->value.size(); ++k) {
    entries->push_back(make(k, TriangleEntry{arrays->row[k], arrays->col[k], arrays->value[k]}));
  }
  *arrays = EntryArrays{{}, {}, {}, {}, {}, arrays->mark};
}

template <class Entry, class Place>
void sort_entries(std::vector<Entry>* entries, Place place) {
  const auto before = [place](const Entry& a, const Entry& b) { return place(a) < place(b); };
  if (!std::is_sorted(entries->begin(), entries->end(), before)) {
    std::stable_sort(entries->begin(), entries->end(), before);
  }
}

class TaskReader {
 public:
  TaskReader(DocumentReader* reader, const ReadLimits& limits, ProblemFile* file)
      : reader_(reader), limits_(limits), file_(file), model_(file->model) {}

  bool read() {
    return read_map(reader_, "a task",
                    {{"format", [this] { return read_format(); }, true},
                     {"version", [this] { return read_version(); }, true},
                     {"modelname", [this] { return reader_->read(&model_.name); }},
                     {"objective", [this] { return read_objective(); }, true,
                      &mark(ModelPart::kObjective)},
                     {"variables", [this] { return read_variables(); }, true,
                      &mark(ModelPart::kVariables)},
                     {"constraints", [this] { return read_constraints(); }, true,
                      &mark(ModelPart::kConstraints)},
                     {"coefficients", [this] { return read_coefficients(); }, false,
                      &mark(ModelPart::kCoefficients)},
                     {"matrix variables", [this] { return read_matrix_variables(); }, false,
                      &mark(ModelPart::kMatrixVariables)},
                     {"sets", [this] { return read_sets(); }, false, &mark(ModelPart::kSets)},
                     {"indicators", [this] { return read_indicators(); }, false,
                      &mark(ModelPart::kIndicators)},
                     {"parameters", [this] { return read_parameters(); }},
                     {"solutions",
                      [this] {
                        return read_solutions(reader_, &file_->solutions, &solution_marks_);
                      }}}) &&
           reader_->finish() && complete();
  }

 private:
  Mark& mark(ModelPart part) { return marks_[static_cast<size_t>(part)]; }

  template <class Value>
  ReadField field(std::string_view key, Value* value, bool required = true) {
    return {key, [this, value] { return reader_->read(value); }, required};
  }

  ReadField names(NameList* names, size_t* count) {
    return {"names", [=, this] { return read_names(reader_, names, count); }};
  }

  bool read_format() {
    const Mark mark = reader_->mark();
    std::string_view format;
    return reader_->read(&format) &&
           (format == kTaskFormat ||
            reader_->fail(mark,
                          "expected the format 'vorlan task', found '" + printable(format) + "'"));
  }

  bool read_version() {
    const Mark mark = reader_->mark();
    int64_t version = 0;
    return reader_->read(&version) &&
           ((version >= kTaskVersion && version <= kTaskVersionOfLogic) ||
            reader_->fail(mark, format_text("expected version 1 or 2 of the format, found %lld",
                                            static_cast<long long>(version))));
  }

  bool read_sense() {
    const Mark mark = reader_->mark();
    std::string_view sense;
    if (!reader_->read(&sense)) return false;
    model_.maximize = sense == kMaximize;
    return model_.maximize || sense == kMinimize ||
           reader_->fail(mark,
                         "expected 'minimize' or 'maximize', found '" + printable(sense) + "'");
  }

  bool read_objective() {
    return read_map(reader_, "'objective'",
                    {field("name", &model_.objective_name, false),
                     {"sense", [this] { return read_sense(); }, true},
                     field("constant", &model_.constant, false),
                     field("linear", &model_.cost),
                     {"quadratic", [this] { return read_entries(&quadratic_cost_, false, false); },
                      false, &mark(ModelPart::kQuadraticCost)},
                     {"matrices", [this] { return read_entries(&matrix_cost_, false, true); },
                      false, &mark(ModelPart::kMatrixCost)}});
  }

  // The array of a list's member that only some lists have.
  bool read_optional(std::vector<int32_t>* values, bool present, const char* key) {
    return present ? reader_->read(values)
                   : reader_->fail(reader_->mark(), format_text("entries here have no '%s'", key));
  }

  bool read_entries(EntryArrays* e, bool of_cons, bool of_matrix_vars) {
    e->mark = reader_->mark();
    if (!read_map(reader_, "a list of entries",
                  {field("row", &e->row),
                   field("col", &e->col),
                   field("value", &e->value),
                   {"constraint",
                    [=, this] { return read_optional(&e->con, of_cons, "constraint"); }, of_cons},
                   {"variable",
                    [=, this] { return read_optional(&e->matrix_var, of_matrix_vars, "variable"); },
                    of_matrix_vars}})) {
      return false;
    }
    const size_t count = e->value.size();
    const bool fits = e->row.size() == count && e->col.size() == count &&
                      (!of_cons || e->con.size() == count) &&
                      (!of_matrix_vars || e->matrix_var.size() == count);
    return fits || reader_->fail(e->mark, "the arrays of the entries differ in size");
  }

  bool read_kinds() {
    const Mark mark = reader_->mark();
    std::vector<uint8_t> kinds;
    if (!reader_->read(&kinds)) return false;
    if (std::any_of(kinds.begin(), kinds.end(), [](uint8_t kind) { return kind > 3; })) {
      return reader_->fail(mark, "a kind of variable is none of 0 to 3");
    }
    model_.var_kind.resize(kinds.size());
    std::transform(kinds.begin(), kinds.end(), model_.var_kind.begin(),
                   [](uint8_t kind) { return static_cast<VarKind>(kind); });
    has_kinds_ = true;
    return true;
  }

  bool read_variables() {
    return read_map(reader_, "'variables'",
                    {field("lower", &model_.var_lower),
                     field("upper", &model_.var_upper),
                     {"kind", [this] { return read_kinds(); }},
                     names(&model_.var_names, &var_names_),
                     {"cones", [this] { return read_cones(); }, false, &mark(ModelPart::kCones)}});
  }

  bool read_cones() {
    const Mark mark = reader_->mark();
    ConeArrays arrays;
    return read_map(
               reader_, "'cones'",
               {field("kind", &arrays.kind), field("size", &arrays.size),
                field("members", &arrays.members), field("exponents", &arrays.exponents, false),
                field("exponent count", &arrays.exponent_count, false),
                names(&model_.cone_names, &cone_names_)}) &&
           build_cones(arrays, mark);
  }

  bool build_cones(const ConeArrays& arrays, Mark mark) {
    const size_t count = arrays.kind.size();
    const bool counted = !arrays.exponent_count.empty();
    if (arrays.size.size() != count || (counted && arrays.exponent_count.size() != count)) {
      return reader_->fail(mark, "the arrays of the cones differ in size");
    }
    size_t members = 0, exponents = 0;
    // Takes the next elements of an array for one cone; false when there are not so many.
    const auto take = [](const auto& from, size_t* at, int32_t wanted, auto* to) {
      if (wanted < 0 || from.size() - *at < index(wanted)) return false;
      const auto begin = from.begin() + static_cast<std::ptrdiff_t>(*at);
      to->assign(begin, begin + wanted);
      *at += index(wanted);
      return true;
    };
    model_.cones.resize(count);
    for (size_t i = 0; i < count; ++i) {
      Cone& cone = model_.cones[i];
      cone.kind = static_cast<ConeKind>(arrays.kind[i]);
      if (take(arrays.members, &members, arrays.size[i], &cone.vars) &&
          take(arrays.exponents, &exponents, counted ? arrays.exponent_count[i] : 0,
               &cone.exponents)) {
        continue;
      }
      return reader_->fail(mark, format_text("cone %zu has more members or exponents than there "
                                             "are",
                                             i));
    }
    if (members == arrays.members.size() && exponents == arrays.exponents.size()) return true;
    return reader_->fail(mark, "there are members or exponents of no cone");
  }

  bool read_constraints() {
    return read_map(
        reader_, "'constraints'",
        {field("lower", &model_.con_lower),
         field("upper", &model_.con_upper),
         names(&model_.con_names, &con_names_),
         {"quadratic", [this] { return read_entries(&quadratic_coefficients_, true, false); },
          false, &mark(ModelPart::kQuadraticCoefficients)},
         {"matrices", [this] { return read_entries(&matrix_coefficients_, true, true); }, false,
          &mark(ModelPart::kMatrixCoefficients)}});
  }

  bool read_coefficients() {
    has_coefficients_ = true;
    return read_map(reader_, "'coefficients'",
                    {field("start", &model_.matrix.start), field("row", &model_.matrix.row),
                     field("value", &model_.matrix.value)});
  }

  bool read_matrix_variables() {
    std::vector<int32_t> dimensions;
    if (!read_map(reader_, "'matrix variables'",
                  {field("dimension", &dimensions),
                   names(&model_.matrix_var_names, &matrix_var_names_)})) {
      return false;
    }
    for (const int32_t dimension : dimensions) model_.matrix_vars.push_back({dimension});
    return true;
  }

  bool read_sets() {
    const Mark mark = reader_->mark();
    std::vector<uint8_t> kinds;
    std::vector<int32_t> sizes, members;
    std::vector<double> weights;
    return read_map(reader_, "'sets'",
                    {field("kind", &kinds), field("size", &sizes), field("members", &members),
                     field("weights", &weights), names(&model_.set_names, &set_names_)}) &&
           build_sets(kinds, sizes, members, weights, mark);
  }

  bool build_sets(const std::vector<uint8_t>& kinds, const std::vector<int32_t>& sizes,
                  const std::vector<int32_t>& members, const std::vector<double>& weights,
                  Mark mark) {
    if (sizes.size() != kinds.size() || weights.size() != members.size()) {
      return reader_->fail(mark, "the arrays of the sets differ in size");
    }
    size_t at = 0;
    for (size_t i = 0; i < kinds.size(); ++i) {
      if (kinds[i] != 1 && kinds[i] != 2) {
        return reader_->fail(mark, "a kind of set is neither 1 nor 2");
      }
      if (sizes[i] < 0 || members.size() - at < index(sizes[i])) {
        return reader_->fail(mark, format_text("set %zu has more members than there are", i));
      }
      OrderedSet& set = model_.sets.emplace_back();
      set.kind = kinds[i] == 1 ? SetKind::kSos1 : SetKind::kSos2;
      const auto begin = static_cast<std::ptrdiff_t>(at);
      at += index(sizes[i]);
      const auto end = static_cast<std::ptrdiff_t>(at);
      set.vars.assign(members.begin() + begin, members.begin() + end);
      set.weights.assign(weights.begin() + begin, weights.begin() + end);
      sort_members(&set);
    }
    return at == members.size() || reader_->fail(mark, "there are members of no set");
  }

  bool read_indicators() {
    const Mark mark = reader_->mark();
    std::vector<int32_t> cons, vars;
    std::vector<uint8_t> values;
    if (!read_map(
            reader_, "'indicators'",
            {field("constraint", &cons), field("variable", &vars), field("value", &values)})) {
      return false;
    }
    if (vars.size() != cons.size() || values.size() != cons.size()) {
      return reader_->fail(mark, "the arrays of the indicators differ in size");
    }
    if (std::any_of(values.begin(), values.end(), [](uint8_t value) { return value > 1; })) {
      return reader_->fail(mark, "a value of an indicator is neither 0 nor 1");
    }
    for (size_t i = 0; i < cons.size(); ++i) {
      model_.indicators.push_back({cons[i], vars[i], values[i] == 1});
    }
    std::stable_sort(model_.indicators.begin(), model_.indicators.end(),
                     [](const Indicator& a, const Indicator& b) { return a.con < b.con; });
    return true;
  }

  bool read_parameters() {
    const Mark mark = reader_->mark();
    if (!reader_->enter_map()) return false;
    ParameterSetting setting;
    while (reader_->next_key(&setting.name)) {
      if (!reader_->read(&setting.value)) return false;
      file_->parameters.push_back(setting);
    }
    std::vector<std::string_view> keys;
    for (const ParameterSetting& s : file_->parameters) keys.push_back(s.name);
    std::sort(keys.begin(), keys.end());
    const auto twice = std::adjacent_find(keys.begin(), keys.end());
    if (twice == keys.end()) return reader_->ok();
    return reader_->fail(mark, "'parameters' has twice the key '" + printable(*twice) + "'");
  }

  // Completes the model when all of the document is there.
  bool complete() {
    if (!has_kinds_) model_.var_kind.assign(model_.cost.size(), VarKind::kContinuous);
    if (!has_coefficients_) model_.matrix.start.assign(model_.cost.size() + 1, 0);
    return check_names() && sort_matrix() && build_lists() && check_model() && check_declared() &&
           check_solutions(reader_, model_, solution_marks_, &file_->solutions);
  }

  bool check_names() {
    const auto fits = [this](ModelPart part, size_t names, size_t count) {
      return names == 0 || names == count ||
             reader_->fail(mark(part),
                           format_text("there %s %s for %s", names == 1 ? "is" : "are",
                                       counted(static_cast<int64_t>(names), "name").c_str(),
                                       counted(static_cast<int64_t>(count), "element").c_str()));
    };
    return fits(ModelPart::kVariables, var_names_, model_.cost.size()) &&
           fits(ModelPart::kConstraints, con_names_, model_.con_lower.size()) &&
           fits(ModelPart::kCones, cone_names_, model_.cones.size()) &&
           fits(ModelPart::kMatrixVariables, matrix_var_names_, model_.matrix_vars.size()) &&
           fits(ModelPart::kSets, set_names_, model_.sets.size());
  }

  bool fail_with(const ModelFault& fault) {
    return fault.text.empty() || reader_->fail(mark(fault.part), fault.text);
  }

  bool sort_matrix() {
    if (!fail_with(find_start_fault(model_))) return false;
    ColumnSorter sorter;
    for (size_t j = 0; j < model_.cost.size(); ++j) {
      sorter.sort(index(model_.matrix.start[j]), index(model_.matrix.start[j + 1]), &model_.matrix);
    }
    return true;
  }

  bool build_lists() {
    build_entries(&quadratic_cost_, &model_.quadratic_cost,
                  [](size_t, const TriangleEntry& entry) { return entry; });
    sort_entries(&model_.quadratic_cost,
                 [](const TriangleEntry& e) { return std::pair(e.col, e.row); });
    build_entries(&quadratic_coefficients_, &model_.quadratic_coefficients,
                  [this](size_t k, const TriangleEntry& entry) {
                    return ConQuadraticEntry{quadratic_coefficients_.con[k], entry};
                  });
    sort_entries(&model_.quadratic_coefficients, [](const ConQuadraticEntry& e) {
      return std::tuple(e.con, e.entry.col, e.entry.row);
    });
    build_entries(&matrix_cost_, &model_.matrix_cost, [this](size_t k, const TriangleEntry& entry) {
      return MatrixCostEntry{matrix_cost_.matrix_var[k], entry};
    });
    sort_entries(&model_.matrix_cost, [](const MatrixCostEntry& e) {
      return std::tuple(e.matrix_var, e.entry.col, e.entry.row);
    });
    build_entries(&matrix_coefficients_, &model_.matrix_coefficients,
                  [this](size_t k, const TriangleEntry& entry) {
                    return MatrixCoefficient{matrix_coefficients_.con[k],
                                             matrix_coefficients_.matrix_var[k], entry};
                  });
    sort_entries(&model_.matrix_coefficients, [](const MatrixCoefficient& e) {
      return std::tuple(e.con, e.matrix_var, e.entry.col, e.entry.row);
    });
    return true;
  }

  bool check_model() { return fail_with(find_model_fault(model_)); }

  // The dimension of a matrix variable declares elements that no data stand for.
  bool check_declared() {
    DeclaredMemory declared(limits_.declared);
    for (const MatrixVariable& variable : model_.matrix_vars) {
      const int64_t dimension = variable.dimension;
      if (declared.add(dimension * (dimension + 1) / 2, kBytesOfMatrixElement)) continue;
      return reader_->fail(mark(ModelPart::kMatrixVariables), declared.message());
    }
    return true;
  }

  DocumentReader* reader_;
  const ReadLimits& limits_;
  ProblemFile* file_;
  Model& model_;
  std::array<Mark, kNumModelParts> marks_;
  SolutionMarks solution_marks_;
  EntryArrays quadratic_cost_, matrix_cost_, quadratic_coefficients_, matrix_coefficients_;
  size_t var_names_ = 0, con_names_ = 0, cone_names_ = 0, matrix_var_names_ = 0, set_names_ = 0;
  bool has_kinds_ = false, has_coefficients_ = false;
};

}  // namespace

bool begins_cbor_task(std::string_view head) {
  if (head.starts_with(kCborMagic)) return true;
  constexpr unsigned kMap = 5;
  return !head.empty() && static_cast<unsigned char>(head[0]) >> 5U == kMap;
}

Status read_jtask(InputStream* input, const ReadLimits& limits, ProblemFile* file, Warnings*) {
  JsonReader document(input);
  TaskReader(&document, limits, file).read();
  return document.status();
}

Status read_task(InputStream* input, const ReadLimits& limits, ProblemFile* file, Warnings*) {
  CborReader document(input);
  TaskReader(&document, limits, file).read();
  return document.status();
}

}  // namespace vorlan
