// Names that MPS cannot say, and what stands for them in a file.
//
// A file in which at least one name needs it opens with the comment kMpsEncodedNames. In such a
// file, and in no other, "%XX" in a name stands for the byte of these two hexadecimal digits, and
// "%_" with all that follows is no part of the name: it tells apart names that are the same.
// Encoded are blanks and control characters, '%', and a leading '*', '$' or single quote.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "file/output_file.h"
#include "format/common/name_table.h"
#include "task/model.h"

namespace vorlan {

inline constexpr std::string_view kMpsEncodedNames = "* Dialect: encoded names";

NameList decode_mps_names(const NameList& names, size_t count);

// The words that stand for the names of a model in an MPS file.
class MpsNames {
 public:
  explicit MpsNames(const Model& model);

  // True if the file needs kMpsEncodedNames.
  bool encoded() const { return encoded_; }
  // Names for which something else stands, and the first of them.
  int64_t num_changed() const { return num_changed_; }
  const std::string& first_changed() const { return first_changed_; }

  void append_model(OutputFile* file) const;
  void append_objective(OutputFile* file) const;
  void append_variable(size_t index, OutputFile* file) const;
  void append_constraint(size_t index, OutputFile* file) const;
  void append_set(size_t index, OutputFile* file) const;

  // A word that begins with `stem` and is no name of a variable or constraint.
  std::string unused_word(std::string_view stem) const;

 private:
  void find_repeated(const NameList& names, size_t count, NameTable* table,
                     std::vector<uint8_t>* repeated);
  void count_changed(const NameList& names, size_t count, const std::vector<uint8_t>& repeated);
  void note_changed(std::string_view name);

  const Model& model_;
  NameTable var_table_, con_table_, set_table_;
  std::vector<uint8_t> var_repeated_, con_repeated_, set_repeated_;  // empty when no name is
  bool objective_repeated_ = false;
  bool encoded_ = false;
  int64_t num_changed_ = 0;
  std::string first_changed_;
};

}  // namespace vorlan
