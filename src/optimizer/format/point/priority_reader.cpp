// Branching priorities, a variable a line. A line that begins with # is a comment.
#include <string_view>

#include "file/numbers.h"
#include "file/text_reader.h"
#include "format/point/point_file.h"
#include "format/point/point_names.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

Status take_line(std::string_view line, const TextReader& text, PointNames* names,
                 std::vector<int32_t>* priorities) {
  const std::string_view name = take_word(&line);
  if (name.empty() || name[0] == '#') return {};
  const int32_t var = names->find(name);
  if (var < 0) return text.error(name, "there is no variable of this name", names->advice(name));
  const std::string_view word = take_word(&line);
  if (!parse_int32(word, &(*priorities)[index(var)])) {
    return text.error(word, "a whole number was expected, the priority of the variable");
  }
  const std::string_view more = take_word(&line);
  return more.empty() ? Status() : text.error(more, "the end of the line was expected");
}

}  // namespace

Status read_priorities(InputStream* input, const Model& model, std::vector<int32_t>* priorities) {
  priorities->assign(model.cost.size(), 0);
  TextReader text(input);
  PointNames names(model.var_names, model.cost.size(), 'x');
  std::string_view line;
  while (text.next_line(&line)) {
    Status status = take_line(line, text, &names, priorities);
    if (!status.ok()) return status;
  }
  return text.status().ok() ? text.finish() : text.status();
}

}  // namespace vorlan
