// The reader of SDPA sparse files; docs/formats/sdpa.md says which choices it makes.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "file/numbers.h"
#include "format/common/coordinates.h"
#include "format/common/declared_memory.h"
#include "format/common/field_lines.h"
#include "format/sdpa/sdpa.h"
#include "format/sdpa/sdpa_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr int64_t kMost = std::numeric_limits<int32_t>::max();

bool begins_number(std::string_view text) {
  const size_t at = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
  return text.size() > at && ((text[at] >= '0' && text[at] <= '9') || text[at] == '.');
}

class SdpaReader {
 public:
  SdpaReader(InputStream* input, const ReadLimits& limits, Model* model, Warnings* warnings)
      : lines_(input, {",(){}", kFortranExponents}),
        model_(model),
        warnings_(warnings),
        declared_(limits.declared) {}

  Status read();

 private:
  // A matrix variable, or a run of scalar ones.
  struct Block {
    bool diagonal;
    int32_t index;  // of the matrix variable, or the first of the others
    int32_t dimension;
  };

  bool next_line();
  void take_comment(std::string_view comment);
  bool require_field(const char* what);
  bool drop_note();

  bool read_head();
  bool read_count(const char* what, int32_t* count);
  bool read_block();
  bool declare(int64_t count, int64_t bytes_each);
  bool read_side();
  bool read_entries();
  bool read_entry();
  bool add_diagonal(const Block& block, int32_t matrix, int32_t row, int32_t col, double value,
                    std::string_view place);
  bool finish();

  FieldLines lines_;
  Model* model_;
  Warnings* warnings_;

  bool begun_ = false;  // what comes behind the comments at the beginning
  bool minimize_ = false;
  bool said_foreign_ = false;
  DeclaredMemory declared_;
  int32_t num_con_ = 0;
  std::vector<Block> blocks_;
  std::vector<bool> has_cost_;
  MatrixCoordinates elements_;
  TriangleCoordinates matrix_elements_;
};

Status SdpaReader::read() {
  if (!read_head() || !read_entries() || !lines_.ok() || !finish()) return lines_.failure();
  return lines_.finish();
}

bool SdpaReader::next_line() {
  while (lines_.next_line()) {
    const std::string_view rest = lines_.rest();
    if (rest[0] != '*' && rest[0] != '"') {
      begun_ = true;
      return true;
    }
    take_comment(rest);
    lines_.drop_rest();
  }
  return false;
}

// A dialect says by comments behind the entries that the other problem of the pair, of which this
// one is the dual, has integers.
void SdpaReader::take_comment(std::string_view comment) {
  minimize_ = minimize_ || (!begun_ && comment == kSdpaMinimize);
  if (said_foreign_ || (!comment.starts_with("*INTEGER") && !comment.starts_with("*RANK1"))) return;
  said_foreign_ = true;
  warnings_->add(lines_.remark(comment,
                               "what follows is taken for comments: integers and matrices "
                               "of rank one of the dual problem cannot be read"));
}

// Numbers of the head may stand in one line or in more.
bool SdpaReader::require_field(const char* what) {
  if (!lines_.rest().empty() || next_line()) return true;
  return lines_.fail_line(format_text("the file ends here, where %s was expected", what));
}

// A line of the head may have words behind its numbers.
bool SdpaReader::drop_note() {
  const std::string_view rest = lines_.rest();
  if (begins_number(rest)) return lines_.fail(rest, "one number less was expected in this line");
  lines_.drop_rest();
  return true;
}

bool SdpaReader::read_head() {
  int32_t num_blocks = 0;
  if (!read_count("the number of constraints", &num_con_)) return false;
  if (!read_count("the number of blocks", &num_blocks)) return false;
  for (int32_t i = 0; i < num_blocks; ++i) {
    if (!require_field("the size of a block") || !read_block()) return false;
  }
  if (num_blocks > 0 && !drop_note()) return false;
  for (int32_t i = 0; i < num_con_; ++i) {
    if (!require_field("a right-hand side") || !read_side()) return false;
  }
  has_cost_.resize(model_->cost.size());
  return num_con_ == 0 || drop_note();
}

bool SdpaReader::read_count(const char* what, int32_t* count) {
  return require_field(what) && lines_.take_integer(what, 0, kMost, count) && drop_note();
}

// A positive size is that of a matrix, a negative one a number of scalar variables.
bool SdpaReader::read_block() {
  const std::string_view word = lines_.rest();
  int32_t size = 0;
  if (!lines_.take_integer("the size of a block", -kMost, kMost, &size)) return false;
  if (size == 0) return lines_.fail(word, "the size of a block, which is not 0, was expected");
  if (size > 0) {
    blocks_.push_back({false, model_->num_matrix_var(), size});
    model_->matrix_vars.push_back({size});
    return declare(int64_t{size} * (int64_t{size} + 1) / 2, kBytesOfMatrixElement);
  }
  if (!declare(-int64_t{size}, kBytesOfVariable)) return false;
  blocks_.push_back({true, model_->num_var(), -size});
  const size_t num_var = model_->cost.size() + index(-size);
  model_->cost.resize(num_var, 0.0);
  model_->var_lower.resize(num_var, 0.0);
  model_->var_upper.resize(num_var, kInfinity);
  model_->var_kind.resize(num_var, VarKind::kContinuous);
  return true;
}

bool SdpaReader::declare(int64_t count, int64_t bytes_each) {
  return declared_.add(count, bytes_each) || lines_.fail_line(declared_.message());
}

bool SdpaReader::read_side() {
  double value = 0.0;
  if (!lines_.take_number(&value)) return false;
  model_->con_lower.push_back(value);
  model_->con_upper.push_back(value);
  return true;
}

bool SdpaReader::read_entries() {
  while (next_line()) {
    if (!read_entry() || !lines_.expect_end()) return false;
  }
  return true;
}

// MATRIX BLOCK ROW COL VALUE. Matrix 0 is the objective's.
bool SdpaReader::read_entry() {
  int32_t matrix = 0;
  int32_t number = 0;
  int32_t row = 0;
  int32_t col = 0;
  double value = 0.0;
  if (!lines_.take_integer("the number of a matrix", 0, num_con_, &matrix)) return false;
  const auto num_blocks = static_cast<int64_t>(blocks_.size());
  if (!lines_.take_integer("the number of a block", 1, num_blocks, &number)) return false;
  const Block& block = blocks_[index(number) - 1];
  if (!lines_.take_integer("a row of the block", 1, block.dimension, &row)) return false;
  const std::string_view place = lines_.rest();
  if (!lines_.take_integer("a column of the block", 1, block.dimension, &col)) return false;
  if (!lines_.take_number(&value)) return false;
  if (block.diagonal) return add_diagonal(block, matrix, row, col, value, place);
  matrix_elements_.add(matrix - 1, block.index, row - 1, col - 1, value, lines_.line_number());
  return true;
}

bool SdpaReader::add_diagonal(const Block& block, int32_t matrix, int32_t row, int32_t col,
                              double value, std::string_view place) {
  if (row != col) return lines_.fail(place, "a diagonal block has elements on its diagonal only");
  const int32_t var = block.index + row - 1;
  if (matrix > 0) {
    elements_.add(matrix - 1, var, value, lines_.line_number());
    return true;
  }
  if (has_cost_[index(var)]) return lines_.fail(place, "a second value for this place");
  has_cost_[index(var)] = true;
  if (value != 0.0) model_->cost[index(var)] = value;
  return true;
}

bool SdpaReader::finish() {
  SamePlace twice;
  if (!elements_.finish(model_, &twice) || !matrix_elements_.finish(model_, &twice)) {
    return lines_.fail_twice(twice.first, twice.second);
  }
  model_->maximize = !minimize_;
  if (!minimize_) return true;
  for (double& cost : model_->cost) cost = cost == 0.0 ? 0.0 : -cost;
  for (MatrixCostEntry& cost : model_->matrix_cost) cost.entry.value = -cost.entry.value;
  return true;
}

}  // namespace

Status read_sdpa(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                 Warnings* warnings) {
  return SdpaReader(input, limits, &file->model, warnings).read();
}

}  // namespace vorlan
