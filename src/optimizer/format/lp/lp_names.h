// Names that LP cannot say, and what stands for them in a file.
//
// A file in which at least one name needs it opens with the comment kLpEncodedNames. In such a
// file, and in no other, "%XX" in a name stands for the byte of these two hexadecimal digits; "%_"
// with all that follows is no part of the name: it tells apart names that are the same; and a
// leading "_" in front of "%" is no part of it either: names that begin with '%' would not be taken
// by all programs. Words that programs take for a keyword or a number have their first letter encoded.
//
// Such a file may also have helpers: NAME%_range is the value of the constraint NAME, _%_constant
// is 1 and has the objective's constant for a cost.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "format/common/name_table.h"
#include "task/model.h"

namespace vorlan {

// Which of the two formats a file is in.
enum class LpFormat : uint8_t { kLp, kPtf };

inline constexpr std::string_view kLpRangeMark = "%_range";
inline constexpr std::string_view kLpConstantWord = "_%_constant";

std::string decode_lp_name(std::string_view word);
NameList decode_lp_names(const NameList& names, size_t count);

// The words that stand for the names of a model in a file.
class LpNames {
 public:
  // has_helpers: the file has them, and so is an encoded one in any case.
  LpNames(const Model& model, bool has_helpers);

  // True if the file needs kLpEncodedNames.
  bool encoded() const { return encoded_; }
  // Names for which something else stands, and the first of them.
  int64_t num_changed() const { return num_changed_; }
  const std::string& first_changed() const { return first_changed_; }

  std::string model_word() const;
  // Empty for an objective without a name.
  std::string objective_word() const;
  void append_variable(size_t index, std::string* text) const;
  void append_constraint(size_t index, std::string* text) const;
  void append_matrix_variable(size_t index, std::string* text) const;
  void append_cone(size_t index, std::string* text) const;
  void append_set(size_t index, std::string* text) const;

 private:
  using Flags = std::vector<uint8_t>;  // empty when none is set

  void examine(const NameList& names, size_t count, bool may_be_empty, NameTable* table,
               Flags* repeated);
  void append(const NameList& names, size_t index, const Flags& repeated, char kind,
              std::string* text) const;
  void note_changed(std::string_view name);

  const Model& model_;
  bool has_elements_;  // of matrix variables
  Flags var_repeated_, con_repeated_, matrix_var_repeated_, cone_repeated_, set_repeated_;
  bool objective_repeated_ = false;
  bool encoded_ = false;
  int64_t num_changed_ = 0;
  std::string first_changed_;
};

}  // namespace vorlan
