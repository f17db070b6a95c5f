// Writing the document of a task; see task_file.h. Lists of structures are written as an array for
// each member, since arrays of numbers are what both encodings do best.
#include <algorithm>

#include "format/common/model_check.h"
#include "format/document/cbor_document.h"
#include "format/document/json_document.h"
#include "format/task/solution_file.h"
#include "format/task/task_document.h"
#include "format/task/task_file.h"

namespace vorlan {
namespace {

class TaskWriter {
 public:
  TaskWriter(DocumentWriter* writer, const ProblemView& problem)
      : writer_(writer), problem_(problem), model_(problem.model) {}

  void write() {
    const bool any_solution = std::any_of(problem_.solutions.begin(), problem_.solutions.end(),
                                          [](const Solution& s) { return s.defined; });
    write_map(
        writer_,
        {{"format", [this] { writer_->text(kTaskFormat); }},
         {"version",
          [this] { writer_->integer(model_.has_logic() ? kTaskVersionOfLogic : kTaskVersion); }},
         {"modelname", [this] { writer_->text(model_.name); }, !model_.name.empty()},
         {"objective", [this] { write_objective(); }},
         {"variables", [this] { write_variables(); }},
         {"constraints", [this] { write_constraints(); }},
         {"coefficients", [this] { write_coefficients(); }, model_.matrix.num_elements() > 0},
         {"matrix variables", [this] { write_matrix_variables(); }, !model_.matrix_vars.empty()},
         {"sets", [this] { write_sets(); }, !model_.sets.empty()},
         {"indicators", [this] { write_indicators(); }, !model_.indicators.empty()},
         {"parameters", [this] { write_parameters(); }, !problem_.parameters.empty()},
         {"solutions", [this] { write_solutions(writer_, problem_.solutions); },
          problem_.with_solutions && any_solution}});
    writer_->finish();
  }

 private:
  template <class Number>
  WriteField array(std::string_view key, const std::vector<Number>& values) {
    return {key, [this, &values] { writer_->array(std::span<const Number>(values)); }};
  }

  // A member of each structure of a list, as an array.
  template <class List, class Member>
  WriteField column(std::string_view key, const List& list, Member member) {
    return {key, [this, &list, member] {
              using Number = decltype(member(list.front()));
              std::vector<Number> values(list.size());
              std::transform(list.begin(), list.end(), values.begin(), member);
              writer_->array(std::span<const Number>(values));
            }};
  }

  WriteField names(const NameList& names, size_t count) {
    return {"names", [this, &names, count] { write_names(writer_, names, count); },
            has_names(names, count)};
  }

  void write_objective() {
    write_map(
        writer_,
        {{"name", [this] { writer_->text(model_.objective_name); }, !model_.objective_name.empty()},
         {"sense", [this] { writer_->text(model_.maximize ? kMaximize : kMinimize); }},
         {"constant", [this] { writer_->number(model_.constant); }},
         array("linear", model_.cost),
         {"quadratic", [this] { write_quadratic_cost(); }, !model_.quadratic_cost.empty()},
         {"matrices", [this] { write_matrix_cost(); }, !model_.matrix_cost.empty()}});
  }

  void write_quadratic_cost() {
    const std::vector<TriangleEntry>& list = model_.quadratic_cost;
    write_map(writer_, {column("row", list, [](const auto& e) { return e.row; }),
                        column("col", list, [](const auto& e) { return e.col; }),
                        column("value", list, [](const auto& e) { return e.value; })});
  }

  // The fields that the other three lists of entries have in common.
  template <class List>
  std::vector<WriteField> entry_fields(const List& list) {
    return {column("row", list, [](const auto& e) { return e.entry.row; }),
            column("col", list, [](const auto& e) { return e.entry.col; }),
            column("value", list, [](const auto& e) { return e.entry.value; })};
  }

  void write_matrix_cost() {
    const auto& list = model_.matrix_cost;
    std::vector<WriteField> fields = entry_fields(list);
    fields.push_back(column("variable", list, [](const auto& e) { return e.matrix_var; }));
    write_map(writer_, std::move(fields));
  }

  void write_variables() {
    const size_t count = model_.cost.size();
    const auto kind = [](VarKind k) { return static_cast<uint8_t>(k); };
    WriteField kinds = column("kind", model_.var_kind, kind);
    kinds.present = model_.is_mixed_integer();
    write_map(writer_, {array("lower", model_.var_lower),
                        array("upper", model_.var_upper),
                        std::move(kinds),
                        names(model_.var_names, count),
                        {"cones", [this] { write_cones(); }, !model_.cones.empty()}});
  }

  void write_cones() {
    const std::vector<Cone>& cones = model_.cones;
    std::vector<int32_t> members;
    std::vector<double> exponents;
    for (const Cone& cone : cones) {
      members.insert(members.end(), cone.vars.begin(), cone.vars.end());
      exponents.insert(exponents.end(), cone.exponents.begin(), cone.exponents.end());
    }
    WriteField exponent_field = array("exponents", exponents);
    WriteField count_field = column("exponent count", cones, [](const Cone& cone) {
      return static_cast<int32_t>(cone.exponents.size());
    });
    exponent_field.present = count_field.present = !exponents.empty();
    write_map(
        writer_,
        {column("kind", cones, [](const Cone& c) { return static_cast<uint8_t>(c.kind); }),
         column("size", cones, [](const Cone& c) { return static_cast<int32_t>(c.vars.size()); }),
         array("members", members), std::move(exponent_field), std::move(count_field),
         names(model_.cone_names, cones.size())});
  }

  void write_constraints() {
    write_map(writer_, {array("lower", model_.con_lower),
                        array("upper", model_.con_upper),
                        names(model_.con_names, model_.con_lower.size()),
                        {"quadratic", [this] { write_quadratic_coefficients(); },
                         !model_.quadratic_coefficients.empty()},
                        {"matrices", [this] { write_matrix_coefficients(); },
                         !model_.matrix_coefficients.empty()}});
  }

  void write_quadratic_coefficients() {
    const auto& list = model_.quadratic_coefficients;
    std::vector<WriteField> fields = entry_fields(list);
    fields.push_back(column("constraint", list, [](const auto& e) { return e.con; }));
    write_map(writer_, std::move(fields));
  }

  void write_matrix_coefficients() {
    const auto& list = model_.matrix_coefficients;
    std::vector<WriteField> fields = entry_fields(list);
    fields.push_back(column("constraint", list, [](const auto& e) { return e.con; }));
    fields.push_back(column("variable", list, [](const auto& e) { return e.matrix_var; }));
    write_map(writer_, std::move(fields));
  }

  void write_coefficients() {
    write_map(writer_, {array("start", model_.matrix.start), array("row", model_.matrix.row),
                        array("value", model_.matrix.value)});
  }

  void write_matrix_variables() {
    write_map(writer_, {column("dimension", model_.matrix_vars,
                               [](const MatrixVariable& v) { return v.dimension; }),
                        names(model_.matrix_var_names, model_.matrix_vars.size())});
  }

  // The kind is the number that the set has in its name, 1 or 2.
  void write_sets() {
    const std::vector<OrderedSet>& sets = model_.sets;
    std::vector<int32_t> members;
    std::vector<double> weights;
    for (const OrderedSet& set : sets) {
      members.insert(members.end(), set.vars.begin(), set.vars.end());
      weights.insert(weights.end(), set.weights.begin(), set.weights.end());
    }
    write_map(writer_,
              {column("kind", sets,
                      [](const OrderedSet& s) { return static_cast<uint8_t>(s.most_nonzeros()); }),
               column("size", sets,
                      [](const OrderedSet& s) { return static_cast<int32_t>(s.vars.size()); }),
               array("members", members), array("weights", weights),
               names(model_.set_names, sets.size())});
  }

  void write_indicators() {
    const std::vector<Indicator>& list = model_.indicators;
    write_map(writer_, {column("constraint", list, [](const Indicator& i) { return i.con; }),
                        column("variable", list, [](const Indicator& i) { return i.binary; }),
                        column("value", list, [](const Indicator& i) {
                          return static_cast<uint8_t>(i.active ? 1 : 0);
                        })});
  }

  void write_parameters() {
    std::vector<WriteField> fields;
    for (const ParameterSetting& setting : problem_.parameters) {
      fields.push_back({setting.name, [this, &setting] { writer_->text(setting.value); }});
    }
    write_map(writer_, std::move(fields));
  }

  DocumentWriter* writer_;
  const ProblemView& problem_;
  const Model& model_;
};

Status check(const Model& model) {
  const ModelFault fault = find_model_fault(model);
  if (fault.text.empty()) return {};
  return {Code::kErrFileCannotHold, "a task file cannot hold the model: " + fault.text};
}

}  // namespace

Status write_jtask(const ProblemView& problem, OutputFile* file, Warnings*) {
  Status status = check(problem.model);
  if (!status.ok()) return status;
  JsonWriter writer(file);
  TaskWriter(&writer, problem).write();
  return {};
}

Status write_task(const ProblemView& problem, OutputFile* file, Warnings*) {
  Status status = check(problem.model);
  if (!status.ok()) return status;
  CborWriter writer(file);
  TaskWriter(&writer, problem).write();
  return {};
}

}  // namespace vorlan
