// Writing and reading solutions; see solution_file.h.
#include "format/task/solution_file.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>

#include "file/text_reader.h"
#include "format/common/nearest.h"
#include "format/document/cbor_document.h"
#include "format/document/json_document.h"
#include "task/packed_matrices.h"
#include "task/status_words.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr std::string_view kSolutionFormat = "vorlan solution";
constexpr std::string_view kResultFormat = "vorlan result";
constexpr int64_t kVersion = 1;

constexpr StatusWord kSolutionKinds[] = {{"interior", 0}, {"basic", 1}, {"integer", 2}};

// One word of the table, as the enumerator.
template <class Enum>
bool read_word(DocumentReader* reader, std::span<const StatusWord> words, Enum* value) {
  const Mark mark = reader->mark();
  std::string_view text;
  if (!reader->read(&text)) return false;
  for (const StatusWord& word : words) {
    if (word.word != text) continue;
    *value = static_cast<Enum>(word.value);
    return true;
  }
  return reader->fail(
      mark, "expected a status, found '" + printable(text) + "'" + advice_on_words(words, text));
}

// Status keys are small numbers: a byte each.
void write_keys(DocumentWriter* writer, const std::vector<StatusKey>& keys) {
  std::vector<uint8_t> bytes(keys.size());
  std::transform(keys.begin(), keys.end(), bytes.begin(),
                 [](StatusKey key) { return static_cast<uint8_t>(key); });
  writer->array(std::span<const uint8_t>(bytes));
}

bool read_keys(DocumentReader* reader, std::vector<StatusKey>* keys) {
  const Mark mark = reader->mark();
  std::vector<uint8_t> bytes;
  if (!reader->read(&bytes)) return false;
  keys->resize(bytes.size());
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] > static_cast<uint8_t>(StatusKey::kInfinite)) {
      return reader->fail(mark, format_text("element %zu is no status key", i));
    }
    (*keys)[i] = static_cast<StatusKey>(bytes[i]);
  }
  return true;
}

bool is_primal_ray(SolutionStatus status) {
  return status == SolutionStatus::kDualInfeasibleCertificate ||
         status == SolutionStatus::kDualIllPosedCertificate;
}

// A ray has no objective of its own: the change of the objective along it, or what the multipliers
// contradict each other by.
bool is_ray(SolutionStatus status) {
  return is_primal_ray(status) || status == SolutionStatus::kPrimalInfeasibleCertificate ||
         status == SolutionStatus::kPrimalIllPosedCertificate;
}

void write_solution(DocumentWriter* writer, const Solution& s) {
  const auto text = [writer](std::string_view word) { return [=] { writer->text(word); }; };
  const auto number = [writer](double value) { return [=] { writer->number(value); }; };
  const auto array = [writer](const std::vector<double>& values) {
    return [writer, &values] { writer->array(std::span<const double>(values)); };
  };
  // The objective of what a ray does not belong to is that of no point: mostly the value at first.
  const Solution none;
  const bool has_primal = !is_ray(s.status) ||
                          (!is_primal_ray(s.status) && s.primal_objective != none.primal_objective);
  const bool has_dual =
      !std::isnan(s.dual_objective) &&
      (!is_ray(s.status) || (is_primal_ray(s.status) && s.dual_objective != none.dual_objective));
  const double ray_objective = is_primal_ray(s.status) ? s.primal_objective : s.dual_objective;
  const auto keys = [writer](const std::vector<StatusKey>& values) {
    return [writer, &values] { write_keys(writer, values); };
  };
  write_map(writer, {{"problem status", text(word_of(kProblemStatuses, s.problem_status))},
                     {"solution status", text(word_of(kSolutionStatuses, s.status))},
                     {"primal objective", number(s.primal_objective), has_primal},
                     {"dual objective", number(s.dual_objective), has_dual},
                     {"ray objective", number(ray_objective),
                      is_ray(s.status) && !std::isnan(ray_objective)},
                     {"skx", keys(s.skx)},
                     {"skc", keys(s.skc)},
                     {"xx", array(s.xx)},
                     {"slx", array(s.slx)},
                     {"sux", array(s.sux)},
                     {"xc", array(s.xc)},
                     {"slc", array(s.slc)},
                     {"suc", array(s.suc)},
                     {"y", array(s.y)},
                     {"snx", array(s.snx), !s.snx.empty()},
                     {"barx", array(s.barx), !s.barx.empty()},
                     {"bars", array(s.bars), !s.bars.empty()}});
}

bool read_solution(DocumentReader* reader, Solution* s) {
  const auto array = [reader](std::vector<double>* values) {
    return [=] { return reader->read(values); };
  };
  const auto keys = [reader](std::vector<StatusKey>* values) {
    return [=] { return read_keys(reader, values); };
  };
  s->defined = true;
  const Mark begin = reader->mark();
  bool has_objective = false;
  double ray_objective = std::numeric_limits<double>::quiet_NaN();
  const auto read_objective = [&] {
    has_objective = true;
    return reader->read(&s->primal_objective);
  };
  const bool done = read_map(
      reader, "a solution",
      {{"problem status", [=] { return read_word(reader, kProblemStatuses, &s->problem_status); },
        true},
       {"solution status", [=] { return read_word(reader, kSolutionStatuses, &s->status); }, true},
       {"primal objective", read_objective},
       {"ray objective", [&] { return reader->read(&ray_objective); }},
       {"dual objective", [=] { return reader->read(&s->dual_objective); }},
       {"skx", keys(&s->skx), true},
       {"skc", keys(&s->skc), true},
       {"xx", array(&s->xx), true},
       {"slx", array(&s->slx), true},
       {"sux", array(&s->sux), true},
       {"xc", array(&s->xc), true},
       {"slc", array(&s->slc), true},
       {"suc", array(&s->suc), true},
       {"y", array(&s->y), true},
       {"snx", array(&s->snx)},
       {"barx", array(&s->barx)},
       {"bars", array(&s->bars)}});
  if (!done) return false;
  if (!has_objective && !is_ray(s->status)) {
    return reader->fail(begin, "a solution has no key 'primal objective'");
  }
  if (!std::isnan(ray_objective)) {
    (is_primal_ray(s->status) ? s->primal_objective : s->dual_objective) = ray_objective;
  }
  return true;
}

// The size that does not fit; empty when all do.
std::string size_fault(const Solution& s, const Model& model) {
  const size_t vars = model.cost.size();
  const size_t cons = model.con_lower.size();
  const size_t members = model.cones.empty() ? 0 : vars;
  const size_t triangles = packed_starts(model).back();
  struct Size {
    const char* name;
    size_t size, expected;
  };
  for (const Size& size :
       {Size{"skx", s.skx.size(), vars}, Size{"xx", s.xx.size(), vars},
        Size{"slx", s.slx.size(), vars}, Size{"sux", s.sux.size(), vars},
        Size{"skc", s.skc.size(), cons}, Size{"xc", s.xc.size(), cons},
        Size{"slc", s.slc.size(), cons}, Size{"suc", s.suc.size(), cons},
        Size{"y", s.y.size(), cons}, Size{"snx", s.snx.size(), members},
        Size{"barx", s.barx.size(), triangles}, Size{"bars", s.bars.size(), triangles}}) {
    if (size.size == size.expected) continue;
    return format_text("'%s' of the solution has %s where the task needs %zu", size.name,
                       counted(static_cast<int64_t>(size.size), "element").c_str(), size.expected);
  }
  return {};
}

void write_elements(DocumentWriter* writer, const NameList& names, size_t count) {
  write_map(writer,
            {{"count", [=] { writer->integer(static_cast<int64_t>(count)); }},
             {"names", [&] { write_names(writer, names, count); }, has_names(names, count)}});
}

void write_matrix_variables(DocumentWriter* writer, const Model& model) {
  const size_t count = model.matrix_vars.size();
  std::vector<int32_t> dimensions(count);
  std::transform(model.matrix_vars.begin(), model.matrix_vars.end(), dimensions.begin(),
                 [](const MatrixVariable& variable) { return variable.dimension; });
  write_map(writer, {{"dimension", [&] { writer->array(std::span<const int32_t>(dimensions)); }},
                     {"names", [&] { write_names(writer, model.matrix_var_names, count); },
                      has_names(model.matrix_var_names, count)}});
}

void write_figures(DocumentWriter* writer, const std::vector<Figure>& figures) {
  std::vector<WriteField> fields;
  fields.reserve(figures.size());
  for (const Figure& figure : figures) {
    fields.push_back({figure.name, [writer, &figure] { writer->number(figure.value); }});
  }
  write_map(writer, std::move(fields));
}

void write_code(DocumentWriter* writer, Code code, const std::string& message) {
  const CodeEntry* entry = find_code(static_cast<int32_t>(code));
  write_map(writer, {{"code", [=] { writer->integer(static_cast<int64_t>(code)); }},
                     {"name", [=] { writer->text(entry->name); }, entry != nullptr},
                     {"description", [=] { writer->text(entry->text); }, entry != nullptr},
                     {"message", [&] { writer->text(message); }, !message.empty()}});
}

// The document of all three files; result is nullptr in those that have none, figures are empty.
void write_document(DocumentWriter* writer, const SolutionView& view, const SolverResult* result,
                    const std::vector<Figure>& figures) {
  const Model& model = view.model;
  const bool is_result = result != nullptr;
  write_map(
      writer,
      {{"format", [&] { writer->text(is_result ? kResultFormat : kSolutionFormat); }},
       {"version", [&] { writer->integer(kVersion); }},
       {"modelname", [&] { writer->text(model.name); }, !model.name.empty()},
       {"response", [&] { write_code(writer, result->response, result->message); }, is_result},
       {"termination", [&] { write_code(writer, result->termination, {}); }, is_result},
       {"figures", [&] { write_figures(writer, figures); }, is_result || !figures.empty()},
       {"solutions", [&] { write_solutions(writer, view.solutions); }},
       {"variables", [&] { write_elements(writer, model.var_names, model.cost.size()); }},
       {"constraints", [&] { write_elements(writer, model.con_names, model.con_lower.size()); }},
       {"matrix variables", [&] { write_matrix_variables(writer, model); },
        !model.matrix_vars.empty()}});
  writer->finish();
}

// The part of a b solution that is about one kind of elements of its model.
struct Elements {
  int64_t count = 0;
  size_t named = 0;
  NameList names;
  std::vector<int32_t> dimensions;
  Mark mark;
};

class SolutionReader {
 public:
  // `result` is nullptr for a b solution.
  SolutionReader(DocumentReader* reader, const Model& model, SolverResult* result)
      : reader_(reader), model_(model), result_(result) {}

  bool read() {
    const bool complete = result_ == nullptr ? read_b_solution() : read_result();
    return complete && reader_->finish() && check();
  }

  Solutions solutions;

 private:
  std::function<bool()> elements(Elements* e) {
    return [this, e] { return read_elements(e); };
  }

  bool read_result() {
    return read_map(
        reader_, "a task solver result",
        {{"format", [this] { return read_format(kResultFormat); }, true},
         {"version", [this] { return read_version(); }, true},
         {"modelname", [this] { return reader_->read(&ignored_); }},
         {"response", [this] { return read_code(&result_->response, &result_->message); }, true},
         {"termination", [this] { return read_code(&result_->termination, &ignored_); }, true},
         {"figures", [this] { return read_figures(); }},
         {"solutions", [this] { return read_solutions(reader_, &solutions, &marks_); }, true},
         {"variables", elements(&variables_), true, &variables_.mark},
         {"constraints", elements(&constraints_), true, &constraints_.mark},
         {"matrix variables", [this] { return read_matrix_variables(); }, false,
          &matrix_variables_.mark}});
  }

  bool read_b_solution() {
    return read_map(
        reader_, "a b solution",
        {{"format", [this] { return read_format(kSolutionFormat); }, true},
         {"version", [this] { return read_version(); }, true},
         {"modelname", [this] { return reader_->read(&ignored_); }},
         {"solutions", [this] { return read_solutions(reader_, &solutions, &marks_); }, true},
         {"variables", elements(&variables_), true, &variables_.mark},
         {"constraints", elements(&constraints_), true, &constraints_.mark},
         {"matrix variables", [this] { return read_matrix_variables(); }, false,
          &matrix_variables_.mark}});
  }

  bool read_format(std::string_view expected) {
    const Mark mark = reader_->mark();
    return reader_->read(&ignored_) &&
           (ignored_ == expected ||
            reader_->fail(mark, "expected the format '" + std::string(expected) + "', found '" +
                                    printable(ignored_) + "'"));
  }

  // A code that this library does not know is of a later one.
  bool read_code(Code* code, std::string* message) {
    const Mark mark = reader_->mark();
    int64_t number = 0;
    const bool read = read_map(reader_, "a code",
                               {{"code", [&] { return reader_->read(&number); }, true},
                                {"name", [this] { return reader_->read(&ignored_); }},
                                {"description", [this] { return reader_->read(&ignored_); }},
                                {"message", [&] { return reader_->read(message); }}});
    if (!read) return false;
    const bool fits = number == static_cast<int32_t>(number);
    if (!fits || find_code(static_cast<int32_t>(number)) == nullptr) {
      return reader_->fail(mark, "there is no such code");
    }
    *code = static_cast<Code>(number);
    return true;
  }

  bool read_figures() {
    Figure figure;
    if (!reader_->enter_map()) return false;
    while (reader_->next_key(&figure.name)) {
      if (!reader_->read(&figure.value)) return false;
      result_->figures.push_back(figure);
    }
    return reader_->ok();
  }

  bool read_version() {
    const Mark mark = reader_->mark();
    int64_t version = 0;
    return reader_->read(&version) &&
           (version == kVersion || reader_->fail(mark, "expected version 1 of the format"));
  }

  bool read_elements(Elements* e) {
    return read_map(reader_, "a description of elements",
                    {{"count", [=, this] { return reader_->read(&e->count); }, true},
                     {"names", [=, this] { return read_names(reader_, &e->names, &e->named); }}});
  }

  bool read_matrix_variables() {
    Elements* e = &matrix_variables_;
    const bool read =
        read_map(reader_, "a description of matrix variables",
                 {{"dimension", [=, this] { return reader_->read(&e->dimensions); }, true},
                  {"names", [=, this] { return read_names(reader_, &e->names, &e->named); }}});
    e->count = static_cast<int64_t>(e->dimensions.size());
    return read;
  }

  bool check() {
    return check_names("variable", variables_, model_.var_names, model_.cost.size()) &&
           check_names("constraint", constraints_, model_.con_names, model_.con_lower.size()) &&
           check_names("matrix variable", matrix_variables_, model_.matrix_var_names,
                       model_.matrix_vars.size()) &&
           check_count("variable", variables_, model_.cost.size()) &&
           check_count("constraint", constraints_, model_.con_lower.size()) &&
           check_count("matrix variable", matrix_variables_, model_.matrix_vars.size()) &&
           check_dimensions() && check_solutions(reader_, model_, marks_, &solutions);
  }

  // A side without names fits any.
  bool check_names(const char* kind, const Elements& e, const NameList& names, size_t count) {
    if (e.named == 0 || !has_names(names, count)) return true;
    for (size_t i = 0; i < std::min(e.named, count); ++i) {
      if (e.names[i] == names[i]) continue;
      return reader_->fail(
          e.mark, format_text("the solution is of another task: %s %zu is '%s' there and '%s' here",
                              kind, i, printable(e.names[i]).c_str(), printable(names[i]).c_str()));
    }
    return true;
  }

  bool check_count(const char* noun, const Elements& e, size_t count) {
    if (e.count == static_cast<int64_t>(count) && (e.named == 0 || e.named == count)) return true;
    return reader_->fail(
        e.mark, format_text("the solution is of another task: it is for %s, the task has %zu",
                            counted(e.count, noun).c_str(), count));
  }

  bool check_dimensions() {
    for (size_t j = 0; j < model_.matrix_vars.size(); ++j) {
      const int32_t here = model_.matrix_vars[j].dimension;
      const int32_t there = matrix_variables_.dimensions[j];
      if (here == there) continue;
      return reader_->fail(
          matrix_variables_.mark,
          format_text("the solution is of another task: matrix variable %zu has dimension %d "
                      "there and %d here",
                      j, there, here));
    }
    return true;
  }

  DocumentReader* reader_;
  const Model& model_;
  SolverResult* result_;
  std::string ignored_;
  SolutionMarks marks_;
  Elements variables_, constraints_, matrix_variables_;
};

}  // namespace

bool has_names(const NameList& names, size_t count) {
  for (size_t i = 0; names.longest() > 0 && i < count; ++i) {
    if (!names[i].empty()) return true;
  }
  return false;
}

void write_names(DocumentWriter* writer, const NameList& names, size_t count) {
  writer->begin_list(count);
  for (size_t i = 0; i < count; ++i) writer->text(names[i]);
  writer->end_list();
}

bool read_names(DocumentReader* reader, NameList* names, size_t* count) {
  std::string_view name;
  *count = 0;
  if (!reader->enter_list()) return false;
  while (reader->next_item()) {
    if (!reader->read(&name)) return false;
    names->add(name);
    ++*count;
  }
  return reader->ok();
}

void write_solutions(DocumentWriter* writer, const Solutions& solutions) {
  std::vector<WriteField> fields;
  for (const StatusWord& kind : kSolutionKinds) {
    const Solution& solution = solutions[static_cast<size_t>(kind.value)];
    fields.push_back(
        {kind.word, [writer, &solution] { write_solution(writer, solution); }, solution.defined});
  }
  write_map(writer, std::move(fields));
}

bool read_solutions(DocumentReader* reader, Solutions* solutions, SolutionMarks* marks) {
  const auto field = [=](size_t kind) {
    return ReadField{kSolutionKinds[kind].word,
                     [=] { return read_solution(reader, &(*solutions)[kind]); }, false,
                     &(*marks)[kind]};
  };
  return read_map(reader, "'solutions'", {field(0), field(1), field(2)});
}

bool check_solutions(DocumentReader* reader, const Model& model, const SolutionMarks& marks,
                     Solutions* solutions) {
  for (size_t kind = 0; kind < solutions->size(); ++kind) {
    Solution& solution = (*solutions)[kind];
    if (!solution.defined) continue;
    if (solution.snx.empty() && !model.cones.empty()) solution.snx.resize(model.cost.size(), 0.0);
    const std::string fault = size_fault(solution, model);
    if (!fault.empty()) return reader->fail(marks[kind], fault);
  }
  return true;
}

Status write_json_solution(const SolutionView& view, const std::vector<Figure>& figures,
                           OutputFile* file) {
  JsonWriter writer(file);
  std::vector<Figure> lasting;
  std::copy_if(figures.begin(), figures.end(), std::back_inserter(lasting),
               [](const Figure& figure) { return figure.name != "time"; });
  write_document(&writer, view, nullptr, lasting);
  return {};
}

Status write_b_solution(const SolutionView& view, OutputFile* file) {
  CborWriter writer(file);
  write_document(&writer, view, nullptr, {});
  return {};
}

Status write_solver_result(const SolverResult& result, const SolutionView& view, OutputFile* file) {
  CborWriter writer(file);
  write_document(&writer, view, &result, result.figures);
  return {};
}

Status read_b_solution(InputStream* input, const Model& model, Solutions* solutions) {
  CborReader document(input);
  SolutionReader reader(&document, model, nullptr);
  if (!reader.read()) return document.status();
  *solutions = std::move(reader.solutions);
  return {};
}

Status read_solver_result(InputStream* input, const Model& model, SolverResult* result,
                          Solutions* solutions) {
  CborReader document(input);
  SolverResult found;
  SolutionReader reader(&document, model, &found);
  if (!reader.read()) return document.status();
  *result = std::move(found);
  *solutions = std::move(reader.solutions);
  return {};
}

}  // namespace vorlan
