// Encoded names of LP files; see lp_names.h.
#include "format/lp/lp_names.h"

#include <algorithm>
#include <array>

#include "file/text_reader.h"
#include "format/common/byte_codes.h"
#include "format/lp/lp_tokens.h"
#include "task/letters.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Characters that every program takes in a name. UTF-8 stays, too, since most do.
constexpr std::array<bool, 256> make_safe() {
  std::array<bool, 256> safe = {};
  for (size_t c = 'a'; c <= 'z'; ++c) safe[c] = true;
  for (size_t c = 'A'; c <= 'Z'; ++c) safe[c] = true;
  for (size_t c = '0'; c <= '9'; ++c) safe[c] = true;
  for (size_t c = 0x80; c < safe.size(); ++c) safe[c] = true;
  for (const char c : {'_', '.', '!', '#', '$', '%', '&', '(', ')', ',', '?', '@', '{', '}', '~'}) {
    safe[static_cast<unsigned char>(c)] = true;
  }
  return safe;
}
constexpr std::array<bool, 256> kSafe = make_safe();

bool is_safe(char c) { return kSafe[static_cast<unsigned char>(c)]; }
bool may_begin(char c) {
  return is_small_letter(to_lower(c)) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

// Words that some program takes for a keyword; sorted.
constexpr std::array<std::string_view, 41> kReserved = {
    "bin",  "binaries", "binary",   "bound",    "bounds",     "cones",    "end",
    "free", "gen",      "general",  "generals", "int",        "integer",  "integers",
    "lazy", "matrices", "matrix",   "max",      "maximise",   "maximize", "maximum",
    "min",  "minimise", "minimize", "minimum",  "parameters", "s.t.",     "sec",
    "semi", "semis",    "sin",      "solution", "sos",        "sos1",     "sos2",
    "st",   "st.",      "subject",  "such",     "to",         "user"};

// Some programs take inf1 or nano for a number and what follows it.
bool is_reserved(std::string_view name) {
  constexpr size_t kLongest = 10;
  std::array<char, kLongest> buffer;
  const size_t size = std::min(name.size(), kLongest);
  std::transform(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(size), buffer.begin(),
                 to_lower);
  const std::string_view start(buffer.data(), size);
  if (start.starts_with("inf") || start.starts_with("nan")) return true;
  return name.size() <= kLongest && std::binary_search(kReserved.begin(), kReserved.end(), start);
}

// A name NAME(2,1) would be an element where there are matrix variables.
bool needs_encoding(std::string_view name, bool has_elements) {
  return name.empty() || !may_begin(name[0]) || !std::all_of(name.begin(), name.end(), is_safe) ||
         is_reserved(name) || has_high_control(name) ||
         (has_elements && name.find('(') != std::string_view::npos);
}

// Whether the character at this place of a name stays as it is.
bool is_kept(std::string_view name, size_t at, bool has_elements) {
  const char c = name[at];
  return c != '%' && is_safe(c) && !(has_elements && c == '(') && !is_high_control(name, at);
}

void append_encoded(std::string_view name, bool has_elements, std::string* word) {
  if (name.empty()) {
    *word += '_';
    return;
  }
  // A '_' in front of a '%' that is a part of the name must not look as if it were none.
  const bool first_kept =
      is_kept(name, 0, has_elements) && may_begin(name[0]) && !is_reserved(name) &&
      !(name[0] == '_' && (name.size() == 1 || !is_kept(name, 1, has_elements)));
  if (first_kept) {
    *word += name[0];
  } else {
    *word += '_';
    append_byte_code(name[0], word);
  }
  for (size_t i = 1; i < name.size(); ++i) {
    if (is_kept(name, i, has_elements)) {
      *word += name[i];
    } else {
      append_byte_code(name[i], word);
    }
  }
}

bool is_set(const std::vector<uint8_t>& flags, size_t index) {
  return !flags.empty() && flags[index] != 0;
}

bool model_name_needs_encoding(std::string_view name) {
  const auto is_control = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < ' ' || byte == 0x7f;
  };
  return !name.empty() && (name.front() == ' ' || name.back() == ' ' || has_high_control(name) ||
                           std::any_of(name.begin(), name.end(), is_control));
}

}  // namespace

std::string decode_lp_name(std::string_view word) {
  if (word.starts_with("_%")) word.remove_prefix(1);
  return decode_name(word);
}

NameList decode_lp_names(const NameList& names, size_t count) {
  NameList decoded;
  for (size_t i = 0; i < count; ++i) decoded.add(decode_lp_name(names[i]));
  return decoded;
}

LpNames::LpNames(const Model& model, bool has_helpers)
    : model_(model), has_elements_(!model.matrix_vars.empty()) {
  NameTable vars(&model.var_names), cons(&model.con_names);
  NameTable matrix_vars(&model.matrix_var_names), cones(&model.cone_names);
  NameTable sets(&model.set_names);
  examine(model.var_names, model.cost.size(), false, &vars, &var_repeated_);
  examine(model.con_names, model.con_lower.size(), true, &cons, &con_repeated_);
  // Matrix variables stand beside the others in the objective and the constraints.
  examine(model.matrix_var_names, model.matrix_vars.size(), false, &matrix_vars,
          &matrix_var_repeated_);
  examine(model.cone_names, model.cones.size(), false, &cones, &cone_repeated_);
  examine(model.set_names, model.sets.size(), false, &sets, &set_repeated_);
  for (size_t i = 0; i < model.matrix_vars.size(); ++i) {
    const std::string_view name = model.matrix_var_names[i];
    if (name.empty() || vars.find(name) < 0) continue;
    matrix_var_repeated_.resize(model.matrix_vars.size());
    if (matrix_var_repeated_[i] == 0) note_changed(name);
    matrix_var_repeated_[i] = 1;
  }
  const std::string& objective = model.objective_name;
  objective_repeated_ = !objective.empty() && cons.find(objective) >= 0;
  if (objective_repeated_ || (!objective.empty() && needs_encoding(objective, has_elements_))) {
    note_changed(objective);
  }
  if (model_name_needs_encoding(model.name)) note_changed(model.name);
  encoded_ = has_helpers || num_changed_ > 0;
}

void LpNames::examine(const NameList& names, size_t count, bool may_be_empty, NameTable* table,
                      Flags* repeated) {
  table->reserve(count);
  for (size_t i = 0; i < count; ++i) {
    const std::string_view name = names[i];
    if (name.empty()) {
      if (!may_be_empty) note_changed(name);
      continue;
    }
    const auto index = static_cast<int32_t>(i);
    const bool again = table->insert(name, index) != index;
    if (again) {
      repeated->resize(count);
      (*repeated)[i] = 1;
    }
    if (again || needs_encoding(name, has_elements_)) note_changed(name);
  }
}

void LpNames::note_changed(std::string_view name) {
  if (num_changed_ == 0) first_changed_ = name;
  ++num_changed_;
}

void LpNames::append(const NameList& names, size_t index, const Flags& repeated, char kind,
                     std::string* text) const {
  const std::string_view name = names[index];
  if (!encoded_) {
    text->append(name);
    return;
  }
  append_encoded(name, has_elements_, text);
  if (!name.empty() && !is_set(repeated, index)) return;
  *text += "%_";
  *text += kind;
  *text += format_text("%zu", index + 1);
}

void LpNames::append_variable(size_t index, std::string* text) const {
  append(model_.var_names, index, var_repeated_, 'x', text);
}

void LpNames::append_constraint(size_t index, std::string* text) const {
  append(model_.con_names, index, con_repeated_, 'c', text);
}

void LpNames::append_matrix_variable(size_t index, std::string* text) const {
  append(model_.matrix_var_names, index, matrix_var_repeated_, 'm', text);
}

void LpNames::append_cone(size_t index, std::string* text) const {
  append(model_.cone_names, index, cone_repeated_, 'k', text);
}

void LpNames::append_set(size_t index, std::string* text) const {
  append(model_.set_names, index, set_repeated_, 's', text);
}

// All of a comment, so that blanks inside can stay.
std::string LpNames::model_word() const {
  if (!encoded_) return model_.name;
  std::string word;
  for (size_t i = 0; i < model_.name.size(); ++i) {
    const char c = model_.name[i];
    const bool edge = i == 0 || i + 1 == model_.name.size();
    const bool keep = c == ' ' ? !edge : static_cast<unsigned char>(c) > ' ' && c != 0x7f;
    if (keep && c != '%' && !(c == '_' && edge) && !is_high_control(model_.name, i)) {
      word += c;
    } else {
      append_byte_code(c, &word);
    }
  }
  return word;
}

std::string LpNames::objective_word() const {
  std::string word;
  if (model_.objective_name.empty()) return word;
  if (!encoded_) return model_.objective_name;
  append_encoded(model_.objective_name, has_elements_, &word);
  if (objective_repeated_) word += "%_obj";
  return word;
}

}  // namespace vorlan
