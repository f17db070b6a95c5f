// replay.cpp - vorlan-replay TRACE LIBRARY: makes the calls of a forwarded trace on any library of
// the interface, in the same order, and compares codes and results. It exists so that what one
// program did with the optimizer can be repeated, and debugged, without that program.
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "operations.h"
#include "quoting.h"
#include "results.h"

namespace recording {
namespace {

// One argument as the trace shows it.
struct Shown {
  std::string word;  // "task", "null", "out", "12"; empty for a text
  std::string text;
  bool is_null() const { return word == "null"; }
};

// One line of the trace.
struct Line {
  const Operation* operation = nullptr;
  std::vector<Shown> arguments;
  std::string results;  // empty for the call in which the library died
};

std::vector<Shown> read_arguments(std::string_view text, std::size_t& position) {
  std::vector<Shown> result;
  while (position < text.size() && text[position] != ')') {
    Shown shown;
    while (position < text.size() && text[position] != ',' && text[position] != ')') {
      if (text[position] == '"') {
        shown.text = unquote(text, position);
      } else {
        shown.word += text[position++];
      }
    }
    result.push_back(shown);
    if (text.substr(position).starts_with(", ")) position += 2;
  }
  ++position;
  return result;
}

Line read_line(std::string_view text) {
  Line line;
  std::size_t position = text.find('(');
  line.operation = find_operation(text.substr(0, position));
  if (line.operation == nullptr) throw std::runtime_error("not a call: " + std::string(text));
  line.arguments = read_arguments(text, ++position);
  if (line.arguments.size() < line.operation->parameters.size()) {
    throw std::runtime_error("arguments are missing: " + std::string(text));
  }
  constexpr std::string_view kEquals = " = ";
  if (text.substr(std::min(position, text.size())).starts_with(kEquals)) {
    line.results = text.substr(position + kEquals.size());
  }
  return line;
}

int go_on(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*, const long*) {
  return 0;
}

void print_text(void*, const char* text) { std::fputs(text, stderr); }

// Space for what the call in progress gives back.
struct Room {
  int64_t number = 0;
  double figure = 0.0;
  std::vector<int32_t> integers;
  std::vector<double> doubles;
  std::vector<char> text;
};

class Player {
 public:
  explicit Player(const char* library) : library_(dlopen(library, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
  }

  // Makes the call; the results as the trace would show them.
  std::string play(const Line& line);

 private:
  template <typename Function>
  Function find(const char* name) const {
    void* const found = dlsym(library_, name);
    if (found == nullptr) throw std::runtime_error(std::string("the library lacks ") + name);
    return reinterpret_cast<Function>(found);
  }

  Sizes sizes() const {
    int32_t numvar = 0;
    int32_t numcon = 0;
    find<decltype(&VLN_getnumvar)>("VLN_getnumvar")(task_, &numvar);
    find<decltype(&VLN_getnumcon)>("VLN_getnumcon")(task_, &numcon);
    return {numvar, numcon};
  }

  // The next argument, as the call takes it; kept as well for showing the results.
  template <Kind kind>
  typename CType<kind>::type take();
  template <Kind kind>
  typename CType<kind>::type make(const Shown& shown, Room& room);

  bool is_call(std::string_view name) const { return line_->operation->name == name; }
  VLNrescode_enum echo();
  VLNrescode_enum call();

  void* library_;
  vlntaskt* task_ = nullptr;
  const Line* line_ = nullptr;
  Sizes sizes_;
  int64_t stated_size_ = 0;  // the TextSize or SliceSize of the call
  std::deque<Room> rooms_;
  std::vector<Argument> arguments_;
};

template <Kind kind>
typename CType<kind>::type Player::make(const Shown& shown, Room& room) {
  using Type = typename CType<kind>::type;
  const auto size = static_cast<std::size_t>(std::max<int64_t>(stated_size_, 0));
  // Each kind has its own way; two that read alike return different types.
  if constexpr (kind == Kind::Task) {
    return shown.is_null() ? nullptr : task_;
  } else if constexpr (kind == Kind::TaskPointer || kind == Kind::NewTask) {
    return shown.is_null() ? nullptr : &task_;
  } else if constexpr (kind == Kind::Handle) {  // NOLINT(bugprone-branch-clone)
    return nullptr;
  } else if constexpr (kind == Kind::Callback) {
    return shown.is_null() ? nullptr : go_on;
  } else if constexpr (kind == Kind::StreamFunction) {
    return shown.is_null() ? nullptr : print_text;
  } else if constexpr (kind == Kind::Text || kind == Kind::Secret) {
    return shown.is_null() ? nullptr : shown.text.c_str();
  } else if constexpr (!is_out(kind)) {
    const int64_t number = std::stoll(shown.word);
    if (kind == Kind::TextSize || kind == Kind::SliceSize) stated_size_ = number;
    return static_cast<Type>(number);
  } else if (shown.is_null()) {
    return nullptr;
  } else if constexpr (kind == Kind::IntOut || kind == Kind::CodeOut) {
    return reinterpret_cast<Type>(&room.number);
  } else if constexpr (kind == Kind::DoubleOut) {
    return &room.figure;
  } else if constexpr (kind == Kind::VariableInts || kind == Kind::ConstraintInts) {
    room.integers.resize(static_cast<std::size_t>(std::max(sizes_.numvar, sizes_.numcon)) + 1);
    return room.integers.data();
  } else if constexpr (kind == Kind::SizedText || kind == Kind::WideText) {
    room.text.resize(std::max<std::size_t>(size, kWideTextSize) + 1);
    return room.text.data();
  } else {
    const auto most = static_cast<std::size_t>(std::max(sizes_.numvar, sizes_.numcon));
    room.doubles.resize(std::max(most, size) + 1);
    return room.doubles.data();
  }
}

template <Kind kind>
typename CType<kind>::type Player::take() {
  const std::size_t index = arguments_.size();
  const auto value = make<kind>(line_->arguments[index], rooms_.emplace_back());
  arguments_.push_back(make_argument(line_->operation->parameters[index], value));
  return value;
}

// The echo is repeated as the text that it stood for.
VLNrescode_enum Player::echo() {
  auto* const task = take<Kind::Task>();
  const int32_t stream = take<Kind::Int>();
  std::string text = line_->arguments[2].text;
  if (line_->arguments.size() > 3) {
    const Shown& more = line_->arguments[3];
    const std::size_t place = text.find("%s");
    if (more.word == "formatted ") {
      text = more.text;
    } else if (place != std::string::npos) {
      text.replace(place, 2, more.is_null() ? "(null)" : more.text);
    }
  }
  return find<decltype(&VLN_echotask)>("VLN_echotask")(task, stream, "%s", text.c_str());
}

#define TAKEN_ARGUMENT(kind, name) take<Kind::kind>()
#define TAKEN_TYPE(kind, name) typename CType<Kind::kind>::type
VLNrescode_enum Player::call() {
  // A braced list takes the arguments from the first to the last.
#define OPERATION(name, ...)                                                \
  if (is_call(#name)) {                                                     \
    const std::tuple<FOR_EACH_ARGUMENT(TAKEN_TYPE, __VA_ARGS__)> arguments{ \
        FOR_EACH_ARGUMENT(TAKEN_ARGUMENT, __VA_ARGS__)};                    \
    return std::apply(find<decltype(&::name)>(#name), arguments);           \
  }
#define ECHO_OPERATION(name, ...) \
  if (is_call(#name)) return echo();
#include "operations.def"
#undef OPERATION
#undef ECHO_OPERATION
  throw std::runtime_error("an operation is missing in the table");
}

std::string Player::play(const Line& line) {
  line_ = &line;
  rooms_.clear();
  arguments_.clear();
  stated_size_ = 0;
  const bool has_task = task_ != nullptr;
  sizes_ = has_task ? sizes() : Sizes{};
  const VLNrescode_enum code = call();
  return format_results(arguments_, code, sizes_);
}

int replay(const char* trace, const char* library) {
  std::ifstream file(trace);
  if (!file) throw std::runtime_error(std::string("cannot read ") + trace);
  Player player(library);
  int number = 0;
  int differing = 0;
  for (std::string text; std::getline(file, text);) {
    ++number;
    if (!text.starts_with("VLN_")) continue;
    const Line line = read_line(text);
    const std::string results = player.play(line);
    if (line.results.empty() || results == line.results) continue;
    ++differing;
    std::printf("%s:%d: %s\n  now: %s\n", trace, number, text.c_str(), results.c_str());
  }
  std::printf("%d lines, %d different\n", number, differing);
  return differing == 0 ? 0 : 1;
}

}  // namespace
}  // namespace recording

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: vorlan-replay TRACE LIBRARY\n", stderr);
    return 2;
  }
  try {
    return recording::replay(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorlan-replay: %s\n", error.what());
    return 2;
  }
}
