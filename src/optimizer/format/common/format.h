// The file formats as the rest of the library sees them: what a file can hold, and the table of the
// formats. No format knows another one, an optimizer, or the task.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "file/input_stream.h"
#include "file/output_file.h"
#include "task/model.h"
#include "task/parameters.h"
#include "task/solution.h"
#include "task/status.h"

namespace vorlan {

// Remarks of a reader or a writer beside its result, one line each, for the log: a reading chosen
// where dialects differ, a name that the format cannot say.
class Warnings {
 public:
  // Further warnings of a kind that floods are counted only: at most this many lines are kept.
  static constexpr size_t kMostLines = 20;

  void add(std::string text);
  // True if a further line would only be counted: what costs time to say need not be found then.
  bool full() const { return lines_.size() == kMostLines; }
  // The lines, each begun by "warning: " and ended by a newline, and how many more there were.
  std::string text() const;

 private:
  std::vector<std::string> lines_;
  size_t dropped_ = 0;
};

// A parameter by name with its value as text, as "-d" takes them.
struct ParameterSetting {
  std::string name, value;
};

using Solutions = std::array<Solution, kNumSolutions>;

// The content of a problem file. Solutions have the sizes of the model or are not defined.
struct ProblemFile {
  Model model;
  Solutions solutions;
  std::vector<ParameterSetting> parameters;
};

// The parts of a task that a writer may write, all of them borrowed.
struct ProblemView {
  const Model& model;
  const Solutions& solutions;
  bool with_solutions;
  std::vector<ParameterSetting> parameters;  // those that differ from their defaults
};

struct ReadLimits {
  // Bytes that a file may ask for without data behind them: VLN_IPAR_READ_DECLARED_LIMIT.
  int64_t declared = int64_t{512} << 20;
};

using ProblemReader = Status (*)(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                                 Warnings* warnings);
// Appends to the open file; the caller finishes it. A failure of the writer itself (a model that
// the format cannot say) is the status; failures of the file are the file's.
using ProblemWriter = Status (*)(const ProblemView& problem, OutputFile* file, Warnings* warnings);

// Which parameter decides whether files of a format carry solutions.
enum class SolutionSwitch : uint8_t { kNever, kTextFiles, kTaskFiles };

struct ProblemFormat {
  std::string_view suffix;  // ".mps"
  const char* name;
  SolutionSwitch solutions;
  ProblemReader read;
  ProblemWriter write;
};

}  // namespace vorlan
