// The reader of points. Forms are told apart by their lines: no line of one has a meaning of its own
// in another.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "file/numbers.h"
#include "file/text_reader.h"
#include "format/point/point_file.h"
#include "format/point/point_names.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

// No form has a line of more words; one more tells that there are too many.
constexpr size_t kMostWords = 6;

std::vector<std::string_view> split(std::string_view line) {
  std::vector<std::string_view> words;
  while (words.size() < kMostWords) {
    const std::string_view word = take_word(&line);
    if (word.empty()) break;
    words.push_back(word);
  }
  return words;
}

bool is_number(std::string_view word) {
  double value = 0.0;
  return parse_double(word, &value, kInfinityWords);
}

// The text with the five entities of XML that names need put back.
std::string unescaped(std::string_view text) {
  constexpr std::pair<std::string_view, char> kEntities[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
  std::string plain;
  while (!text.empty()) {
    const auto* const entity =
        std::find_if(std::begin(kEntities), std::end(kEntities),
                     [text](const auto& known) { return text.starts_with(known.first); });
    const bool found = entity != std::end(kEntities);
    plain += found ? entity->second : text[0];
    text.remove_prefix(found ? entity->first.size() : 1);
  }
  return plain;
}

// The text of an attribute in a line of XML, as it stands there; without data where there is none.
std::string_view attribute(std::string_view line, std::string_view name) {
  const std::string key = ' ' + std::string(name) + "=\"";
  const size_t begin = line.find(key);
  if (begin == std::string_view::npos) return {};
  const size_t first = begin + key.size();
  const size_t end = line.find('"', first);
  return end == std::string_view::npos ? std::string_view() : line.substr(first, end - first);
}

class PointReader {
 public:
  PointReader(InputStream* input, const Model& model, StartPoint* point)
      : text_(input), names_(model.var_names, model.cost.size(), 'x'), point_(point) {
    point->x.assign(model.cost.size(), 0.0);
    point->given.assign(model.cost.size(), false);
  }

  Status read() {
    std::string_view line;
    while (status_.ok() && !ended_ && text_.next_line(&line)) take_line(line);
    if (!text_.status().ok()) return text_.status();
    if (!status_.ok()) return status_;
    if (zeros_are_left_out_) point_->given.assign(point_->given.size(), true);
    return text_.finish();
  }

 private:
  // Comments and the heads of the forms; HiGHS marks the parts of its file by comments.
  bool is_head(std::string_view line, const std::vector<std::string_view>& words) {
    if (words.empty()) return true;
    if (words[0][0] == '#') {
      in_columns_ = line.starts_with("# Columns");
      ended_ =
          line.starts_with("# Rows") || line.starts_with("# Dual") || line.starts_with("# Basis");
      is_sectioned_ = is_sectioned_ || line.starts_with("# Primal solution values");
      return true;
    }
    if (line.starts_with("Model status")) {
      is_sectioned_ = true;
      return true;
    }
    if (is_sectioned_) return !in_columns_;
    if (line.starts_with("solution status:") || line.starts_with("objective value:") ||
        line.find(" - objective value ") != std::string_view::npos) {
      zeros_are_left_out_ = true;
      return true;
    }
    return words[0] == "=obj=" || line.starts_with("no solution available");
  }

  void take_line(std::string_view line) {
    if (line.find("<variable ") != std::string_view::npos) return take_element(line);
    std::vector<std::string_view> words = split(line);
    const bool is_markup = !words.empty() && words[0][0] == '<';
    in_markup_ = in_markup_ || is_markup;
    if (in_markup_ || is_head(line, words)) return;
    // The marks of CBC, and of SCIP.
    if (words[0] == "**") words.erase(words.begin());
    if (words.size() == 3 && words[2].starts_with("(obj:")) words.pop_back();
    if (words.size() == 4 && is_number(words[0]) && is_number(words[2]) && is_number(words[3])) {
      words = {words[1], words[2]};
    }
    if (words.size() != 2) {
      fail(words.size() < 2 ? std::string_view() : words[2],
           "a line with the name of a variable and its value was expected");
      return;
    }
    take_value(words[0], words[0], words[1]);
  }

  void take_element(std::string_view line) {
    in_markup_ = true;
    const std::string_view name = attribute(line, "name");
    const std::string_view value = attribute(line, "value");
    if (name.data() == nullptr || value.data() == nullptr) {
      return fail(line.substr(line.find('<')), "a name and a value were expected");
    }
    take_value(unescaped(name), name, value);
  }

  // The place is where the name stands in the line.
  void take_value(std::string_view name, std::string_view place, std::string_view word) {
    const int32_t var = names_.find(name);
    if (var < 0) {
      status_ = text_.error(place, "there is no variable of this name", names_.advice(name));
      return;
    }
    double value = 0.0;
    if (!parse_double(word, &value) || !std::isfinite(value)) {
      return fail(word, "a finite number was expected");
    }
    point_->x[index(var)] = value;
    point_->given[index(var)] = true;
  }

  void fail(std::string_view word, std::string_view what) { status_ = text_.error(word, what); }

  TextReader text_;
  PointNames names_;
  StartPoint* point_;
  Status status_;
  bool is_sectioned_ = false;  // HiGHS's form
  bool in_columns_ = false;
  bool in_markup_ = false;
  bool zeros_are_left_out_ = false;
  bool ended_ = false;
};

}  // namespace

Status read_point(InputStream* input, const Model& model, StartPoint* point) {
  return PointReader(input, model, point).read();
}

}  // namespace vorlan
