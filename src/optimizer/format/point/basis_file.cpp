// MPS bases. A file without lines is the basis of all rows, with the variables at their lower
// bounds. A line XU or XL takes a variable into the basis and a row out of it, at its upper or its
// lower side; a line UL or LL says at which bound a variable outside the basis is.
#include <algorithm>
#include <string>
#include <vector>

#include "file/numbers.h"
#include "file/text_reader.h"
#include "format/point/point_file.h"
#include "format/point/point_names.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

bool is_basic(StatusKey key) { return key == StatusKey::kBasic; }

class BasisReader {
 public:
  BasisReader(InputStream* input, const Model& model, Solution* basis)
      : text_(input),
        vars_(model.var_names, model.cost.size(), 'x'),
        cons_(model.con_names, model.con_lower.size(), 'c'),
        basis_(basis) {
    *basis = {};
    basis->defined = true;
    basis->skx.assign(model.cost.size(), StatusKey::kAtLower);
    basis->skc.assign(model.con_lower.size(), StatusKey::kBasic);
    basis->xx.assign(model.cost.size(), 0.0);
    basis->xc.assign(model.con_lower.size(), 0.0);
  }

  Status read() {
    std::string_view line;
    bool ended = false;
    while (status_.ok() && !ended && text_.next_line(&line)) ended = take_line(line);
    if (!text_.status().ok()) return text_.status();
    if (!status_.ok()) return status_;
    if (!ended) return text_.line_error("'ENDATA' was expected");
    return text_.finish();
  }

 private:
  // True at the end.
  bool take_line(std::string_view line) {
    const std::string_view whole = line;
    const std::string_view word = take_word(&line);
    if (word.empty() || whole[0] == '*' || word == "NAME") return false;
    if (word == "ENDATA") return true;
    const std::string_view first = take_word(&line);
    if (word == "UL" || word == "LL") {
      set(vars_, first, word == "UL" ? StatusKey::kAtUpper : StatusKey::kAtLower, &basis_->skx);
    } else if (word == "XU" || word == "XL") {
      const std::string_view second = take_word(&line);
      set(vars_, first, StatusKey::kBasic, &basis_->skx);
      set(cons_, second, word == "XU" ? StatusKey::kAtUpper : StatusKey::kAtLower, &basis_->skc);
    } else {
      fail(word, "XU, XL, UL, LL or ENDATA was expected");
    }
    expect_end(line, word);
    return false;
  }

  // Some programs add the variable's value; where a line has no constraint, behind a name for none.
  void expect_end(std::string_view rest, std::string_view key) {
    const bool lacks_constraint = key == "UL" || key == "LL";
    std::string_view first = take_word(&rest);
    const std::string_view second = take_word(&rest);
    double value = 0.0;
    if (lacks_constraint && !second.empty() && parse_double(second, &value)) {
      first = take_word(&rest);
    } else if (!first.empty() && parse_double(first, &value)) {
      first = second;
    }
    if (!first.empty()) fail(first, "the end of the line was expected");
  }

  void set(PointNames& names, std::string_view name, StatusKey key, std::vector<StatusKey>* keys) {
    const int32_t place = names.find(name);
    if (place < 0) {
      if (status_.ok()) {
        status_ = text_.error(name, "there is nothing of this name", names.advice(name));
      }
      return;
    }
    (*keys)[index(place)] = key;
  }

  void fail(std::string_view word, std::string_view what) {
    if (status_.ok()) status_ = text_.error(word, what);
  }

  TextReader text_;
  PointNames vars_, cons_;
  Solution* basis_;
  Status status_;
};

}  // namespace

bool is_basis(const Model& model, const Solution& solution) {
  if (!solution.defined || solution.skx.size() != model.cost.size()) return false;
  const auto basic = std::count_if(solution.skx.begin(), solution.skx.end(), is_basic) +
                     std::count_if(solution.skc.begin(), solution.skc.end(), is_basic);
  return basic == model.num_con();
}

Status read_basis(InputStream* input, const Model& model, Solution* basis) {
  return BasisReader(input, model, basis).read();
}

Status write_basis(const Model& model, const Solution& solution, OutputFile* file) {
  if (!is_basis(model, solution)) {
    return {Code::kErrFileFormat, "there is no basic solution whose basis could be written"};
  }
  PointNames vars(model.var_names, model.cost.size(), 'x');
  PointNames cons(model.con_names, model.con_lower.size(), 'c');
  file->append("NAME\n");
  size_t row = 0;
  for (size_t j = 0; j < solution.skx.size(); ++j) {
    if (is_basic(solution.skx[j])) {
      while (is_basic(solution.skc[row])) ++row;
      file->append(solution.skc[row] == StatusKey::kAtUpper ? " XU " : " XL ");
      file->append(vars.name_of(j));
      file->append(' ');
      file->append(cons.name_of(row++));
      file->append('\n');
    } else if (solution.skx[j] == StatusKey::kAtUpper) {
      file->append(" UL " + vars.name_of(j) + '\n');
    }
  }
  file->append("ENDATA\n");
  return {};
}

}  // namespace vorlan
