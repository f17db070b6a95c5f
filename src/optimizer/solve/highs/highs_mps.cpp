// Reading MPS files through HiGHS.
#include "solve/highs/highs_mps.h"

#include <algorithm>
#include <utility>

#include "Highs.h"
#include "task/text.h"

namespace vorlan {
namespace {

struct Messages {
  std::string errors;
  std::string warnings;
};

void collect_message(int, const std::string& text, const HighsCallbackDataOut* data,
                     HighsCallbackDataIn*, void* messages) {
  auto* collected = static_cast<Messages*>(messages);
  const auto type = static_cast<HighsLogType>(data->log_type);
  if (type == HighsLogType::kError) collected->errors += text;
  if (type == HighsLogType::kWarning) collected->warnings += text;
}

// The first line of a text without HiGHS's "ERROR:   ".
std::string first_message(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  const size_t colon = line.find(": ");
  if (line.rfind("ERROR", 0) == 0 && colon != std::string::npos) {
    line.erase(0, line.find_first_not_of(' ', colon + 1));
  }
  return line;
}

void replace_all(std::string* text, const std::string& from, const std::string& to) {
  if (from == to) return;
  for (size_t at = 0; (at = text->find(from, at)) != std::string::npos; at += to.size()) {
    text->replace(at, from.size(), to);
  }
}

VarKind kind_from(HighsVarType type) {
  switch (type) {
    case HighsVarType::kInteger:
    case HighsVarType::kImplicitInteger:
      return VarKind::kInteger;
    case HighsVarType::kSemiContinuous:
      return VarKind::kSemiContinuous;
    case HighsVarType::kSemiInteger:
      return VarKind::kSemiInteger;
    default:
      return VarKind::kContinuous;
  }
}

NameList names_from(const std::vector<std::string>& names) {
  NameList list;
  size_t bytes = 0;
  for (const std::string& name : names) bytes += name.size();
  list.reserve(names.size(), bytes);
  for (const std::string& name : names) list.add(name);
  return list;
}

Model model_from(const HighsLp& lp) {
  Model model;
  model.maximize = lp.sense_ == ObjSense::kMaximize;
  model.constant = lp.offset_;
  model.cost = lp.col_cost_;
  model.var_lower = lp.col_lower_;
  model.var_upper = lp.col_upper_;
  model.con_lower = lp.row_lower_;
  model.con_upper = lp.row_upper_;
  model.var_kind.assign(model.cost.size(), VarKind::kContinuous);
  std::transform(lp.integrality_.begin(), lp.integrality_.end(), model.var_kind.begin(), kind_from);
  model.matrix.start.assign(lp.a_matrix_.start_.begin(), lp.a_matrix_.start_.end());
  model.matrix.start.resize(model.cost.size() + 1, 0);
  model.matrix.row.assign(lp.a_matrix_.index_.begin(), lp.a_matrix_.index_.end());
  model.matrix.value = lp.a_matrix_.value_;
  model.var_names = names_from(lp.col_names_);
  model.con_names = names_from(lp.row_names_);
  return model;
}

}  // namespace

Status read_mps_with_highs(const std::string& filename, const std::string& shown_name, Model* model,
                           std::string* warnings) {
  Messages messages;
  Highs highs;
  highs.setOptionValue("log_to_console", true);  // else HiGHS keeps messages to itself
  highs.setCallback(collect_message, &messages);
  highs.startCallback(kCallbackLogging);
  const HighsStatus result = highs.readModel(filename);
  replace_all(&messages.errors, filename, shown_name);
  replace_all(&messages.warnings, filename, shown_name);
  if (result == HighsStatus::kError) {
    const std::string cause = first_message(messages.errors);
    return {Code::kErrFileContent,
            format_text("'%s' cannot be read as an MPS file: %s", shown_name.c_str(),
                        cause.empty() ? "the reader gives no cause" : cause.c_str())};
  }
  if (highs.getModel().isQp()) {
    return {Code::kErrNotAvailable,
            format_text("'%s' has a quadratic objective, which this version of the library does "
                        "not take",
                        shown_name.c_str())};
  }
  *model = model_from(highs.getLp());
  *warnings = std::move(messages.warnings);
  return {};
}

}  // namespace vorlan
