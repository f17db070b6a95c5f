// Encoded names of MPS files; see mps_names.h.
#include "format/mps/mps_names.h"

#include <algorithm>

#include "file/text_reader.h"
#include "format/common/byte_codes.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr std::string_view kNotLeading = "*$'";

bool is_unprintable(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= ' ' || byte == 0x7f;
}

bool needs_encoding(std::string_view name) {
  return name.empty() || kNotLeading.find(name[0]) != std::string_view::npos ||
         std::any_of(name.begin(), name.end(), is_unprintable) || has_high_control(name);
}

bool model_name_needs_encoding(std::string_view name) {
  const auto is_control = [](char c) { return c != ' ' && is_unprintable(c); };
  return !name.empty() && (name.front() == ' ' || name.back() == ' ' || has_high_control(name) ||
                           std::any_of(name.begin(), name.end(), is_control));
}

std::string encode(std::string_view name) {
  std::string word;
  for (size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    const bool keep = c != '%' && !is_unprintable(c) && !is_high_control(name, i) &&
                      (i > 0 || kNotLeading.find(c) == std::string_view::npos);
    if (keep) {
      word += c;
      continue;
    }
    append_byte_code(c, &word);
  }
  return word;
}

bool is_repeated(const std::vector<uint8_t>& repeated, size_t index) {
  return !repeated.empty() && repeated[index] != 0;
}

void append_encoded(std::string_view name, bool repeated, char kind, size_t index,
                    OutputFile* file) {
  file->append(encode(name));
  if (!name.empty() && !repeated) return;
  file->append("%_");
  file->append(kind);
  file->append_integer(static_cast<int64_t>(index) + 1);
}

}  // namespace

NameList decode_mps_names(const NameList& names, size_t count) {
  NameList decoded;
  for (size_t i = 0; i < count; ++i) decoded.add(decode_name(names[i]));
  return decoded;
}

MpsNames::MpsNames(const Model& model)
    : model_(model),
      var_table_(&model.var_names),
      con_table_(&model.con_names),
      set_table_(&model.set_names) {
  const size_t num_var = index(model.num_var());
  const size_t num_con = index(model.num_con());
  find_repeated(model.var_names, num_var, &var_table_, &var_repeated_);
  find_repeated(model.con_names, num_con, &con_table_, &con_repeated_);
  find_repeated(model.set_names, model.sets.size(), &set_table_, &set_repeated_);
  objective_repeated_ = !model.objective_name.empty() && con_table_.find(model.objective_name) >= 0;
  count_changed(model.var_names, num_var, var_repeated_);
  count_changed(model.con_names, num_con, con_repeated_);
  count_changed(model.set_names, model.sets.size(), set_repeated_);
  const bool objective_changed = objective_repeated_ || needs_encoding(model.objective_name);
  // Nobody misses the name of an objective, or of a model, that has none.
  if (objective_changed && !model.objective_name.empty()) note_changed(model.objective_name);
  if (model_name_needs_encoding(model.name)) note_changed(model.name);
  encoded_ = num_changed_ > 0 || objective_changed || model.name.empty();
}

// All of the line up to the word FREE is the model's name, so blanks inside of it are no trouble.
// Without a name some programs take FREE for it, and the file for one in columns.
void MpsNames::append_model(OutputFile* file) const {
  if (!encoded_) return file->append(model_.name);
  file->append(encode(model_.name));
  if (model_.name.empty()) file->append("%_model");
}

void MpsNames::append_objective(OutputFile* file) const {
  if (!encoded_) return file->append(model_.objective_name);
  file->append(encode(model_.objective_name));
  if (model_.objective_name.empty() || objective_repeated_) file->append("%_obj");
}

void MpsNames::append_variable(size_t index, OutputFile* file) const {
  const std::string_view name = model_.var_names[index];
  if (!encoded_) return file->append(name);
  append_encoded(name, is_repeated(var_repeated_, index), 'x', index, file);
}

void MpsNames::append_constraint(size_t index, OutputFile* file) const {
  const std::string_view name = model_.con_names[index];
  if (!encoded_) return file->append(name);
  append_encoded(name, is_repeated(con_repeated_, index), 'c', index, file);
}

void MpsNames::append_set(size_t index, OutputFile* file) const {
  const std::string_view name = model_.set_names[index];
  if (!encoded_) return file->append(name);
  append_encoded(name, is_repeated(set_repeated_, index), 's', index, file);
}

std::string MpsNames::unused_word(std::string_view stem) const {
  std::string word(stem);
  const auto is_used = [this](std::string_view name) {
    return var_table_.find(name) >= 0 || con_table_.find(name) >= 0 ||
           name == model_.objective_name;
  };
  for (int64_t number = 1; is_used(word); ++number) {
    word = std::string(stem) + format_text("%lld", static_cast<long long>(number));
  }
  return word;
}

void MpsNames::find_repeated(const NameList& names, size_t count, NameTable* table,
                             std::vector<uint8_t>* repeated) {
  table->reserve(count);
  for (size_t i = 0; i < count; ++i) {
    if (names[i].empty()) continue;
    const auto index = static_cast<int32_t>(i);
    if (table->insert(names[i], index) == index) continue;
    repeated->resize(count);
    (*repeated)[i] = 1;
  }
}

void MpsNames::count_changed(const NameList& names, size_t count,
                             const std::vector<uint8_t>& repeated) {
  for (size_t i = 0; i < count; ++i) {
    if (is_repeated(repeated, i) || needs_encoding(names[i])) note_changed(names[i]);
  }
}

void MpsNames::note_changed(std::string_view name) {
  if (num_changed_ == 0) first_changed_ = name;
  ++num_changed_;
}

}  // namespace vorlan
