// recording.cpp - libvorlan64.so.11.0 as the tests see it: records every call, and either answers
// by a script or hands the call on to a real library. README.md beside this file is the manual.
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "echotext.h"
#include "forward.h"
#include "operations.h"
#include "quoting.h"
#include "script.h"
#include "trace.h"

namespace recording {
namespace {

[[noreturn]] void give_up(const std::string& reason) {
  std::fprintf(stderr, "recording: %s\n", reason.c_str());
  _exit(99);
}

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

std::optional<std::string> read_file(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

Script load_script(const char* filename) {
  if (filename == nullptr || *filename == '\0') return {};
  const std::optional<std::string> text = read_file(filename);
  if (!text) give_up(std::string("cannot read ") + filename);
  try {
    return parse_script(*text);
  } catch (const std::exception& error) {
    give_up(error.what());
  }
}

// The one task that is handed out. Its address is its identity; nobody looks inside.
vlntaskt* the_task() {
  static long storage = 0;
  return reinterpret_cast<vlntaskt*>(&storage);
}

struct Registered {
  vlncallbackfunc callback = nullptr;
  void* callback_handle = nullptr;
  vlnstreamfunc stream = nullptr;
  void* stream_handle = nullptr;
};

// Everything that the library knows between calls.
class Recorder {
 public:
  // Records the call and answers it; more is the shown form of variable arguments.
  VLNrescode_enum answer(OperationId id, const std::vector<Argument>& arguments,
                         std::string_view more = {});
  int64_t read_clock();
  bool has_clock() const { return !script_.clock.empty(); }
  const Trace& trace() const { return trace_; }

 private:
  void act(const Action& action, const std::vector<Argument>& arguments);
  void remember(const Operation& operation, const std::vector<Argument>& arguments);
  void assign(const Action& action, const std::vector<Argument>& arguments);
  int call_back(double seconds);
  void call_back_until_stop();
  void send_text(const std::string& text);
  void show_file(const std::string& name);

  Trace trace_{std::getenv("VORLAN_RECORDING")};
  Script script_ = load_script(std::getenv("VORLAN_SCRIPT"));
  std::map<const Operation*, int64_t> calls_;
  Registered registered_;
  std::size_t clock_position_ = 0;
  int32_t callback_count_ = 0;
  VLNrescode_enum code_ = VLN_RES_OK;
};

// Never destroyed: the process may call until its very end. Made without a guard that a reading of
// the clock from within would wait for.
Recorder* instance = nullptr;
bool is_being_made = false;

Recorder& recorder() {
  if (instance == nullptr) {
    is_being_made = true;
    instance = new Recorder;
    is_being_made = false;
  }
  return *instance;
}

VLNrescode_enum Recorder::answer(OperationId id, const std::vector<Argument>& arguments,
                                 std::string_view more) {
  const Operation& operation = operations()[static_cast<std::size_t>(id)];
  trace_.line(format_call(operation.name, arguments, {the_task(), false}, more));
  const int64_t call = ++calls_[&operation];
  code_ = VLN_RES_OK;
  for (const Rule& rule : script_.rules) {
    if (!rule.matches(operation, arguments, call)) continue;
    for (const Action& action : rule.actions) act(action, arguments);
  }
  if (code_ == VLN_RES_OK) remember(operation, arguments);
  return code_;
}

// Keeps what a successful call changes in the library's own state.
void Recorder::remember(const Operation& operation, const std::vector<Argument>& arguments) {
  if (operation.name == "VLN_makeemptytask") {
    *arguments[1].as<vlntaskt*>() = the_task();
  } else if (operation.name == "VLN_putcallbackfunc") {
    registered_.callback =
        reinterpret_cast<vlncallbackfunc>(const_cast<void*>(arguments[1].pointer));
    registered_.callback_handle = arguments[2].as<void>();
  } else if (operation.name == "VLN_linkfunctotaskstream") {
    registered_.stream = reinterpret_cast<vlnstreamfunc>(const_cast<void*>(arguments[3].pointer));
    registered_.stream_handle = arguments[2].as<void>();
  } else if (operation.name == "VLN_linkfiletotaskstream") {
    registered_.stream = nullptr;
  } else if (operation.name == "VLN_deletetask") {
    *arguments[0].as<vlntaskt*>() = nullptr;
  }
}

void Recorder::act(const Action& action, const std::vector<Argument>& arguments) {
  switch (action.kind) {
    case ActionKind::code:
      code_ = static_cast<VLNrescode_enum>(static_cast<int32_t>(action.number()));
      break;
    case ActionKind::assign:
      assign(action, arguments);
      break;
    case ActionKind::signal:
      std::raise(static_cast<int>(action.number()));
      break;
    case ActionKind::callback:
      call_back(action.number());
      break;
    case ActionKind::callback_until_stop:
      call_back_until_stop();
      break;
    case ActionKind::log:
      send_text(action.text());
      break;
    case ActionKind::write:
      std::ofstream(action.name, std::ios::binary) << action.text();
      break;
    case ActionKind::show:
      show_file(action.name);
      break;
    case ActionKind::sleep:
      std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(action.number()));
      break;
  }
}

// "{j}" in a text stands for the call's argument j.
std::string fill_in(std::string text, const std::vector<Argument>& arguments) {
  for (const Argument& argument : arguments) {
    if (is_out(argument.parameter.kind)) continue;
    const std::string place = '{' + std::string(argument.parameter.name) + '}';
    const std::size_t position = text.find(place);
    if (position == std::string::npos) continue;
    text.replace(position, place.size(), std::to_string(argument.number));
  }
  return text;
}

// The text and its NUL, cut to the buffer as the interface demands.
void put_text(char* buffer, int64_t size, const std::string& text) {
  if (size <= 0) return;
  const std::size_t count = std::min(text.size(), static_cast<std::size_t>(size) - 1);
  std::memcpy(buffer, text.data(), count);
  buffer[count] = '\0';
}

template <typename T>
void put_list(T* array, const std::vector<double>& values) {
  for (double value : values) *array++ = static_cast<T>(value);
}

int64_t text_size(const std::vector<Argument>& arguments) {
  for (const Argument& argument : arguments) {
    if (argument.parameter.kind == Kind::TextSize) return argument.number;
  }
  return 0;
}

void Recorder::assign(const Action& action, const std::vector<Argument>& arguments) {
  for (const Argument& argument : arguments) {
    if (argument.parameter.name != action.name || argument.pointer == nullptr) continue;
    switch (argument.parameter.kind) {
      case Kind::IntOut:
      case Kind::CodeOut:
        *argument.as<int32_t>() = static_cast<int32_t>(action.number());
        break;
      case Kind::DoubleOut:
        *argument.as<double>() = action.number();
        break;
      case Kind::VariableInts:
      case Kind::ConstraintInts:
        put_list(argument.as<int32_t>(), std::get<std::vector<double>>(action.value));
        break;
      case Kind::VariableDoubles:
      case Kind::ConstraintDoubles:
      case Kind::SliceDoubles:
        put_list(argument.as<double>(), std::get<std::vector<double>>(action.value));
        break;
      case Kind::SizedText:
        put_text(argument.as<char>(), text_size(arguments), fill_in(action.text(), arguments));
        break;
      case Kind::WideText:
        put_text(argument.as<char>(), kWideTextSize, fill_in(action.text(), arguments));
        break;
      default:
        break;
    }
  }
}

// Everything but element 50 is what a caller must not depend on: the other figures are huge, the
// task and the integer arrays are missing, the callback code changes from call to call.
int Recorder::call_back(double seconds) {
  if (registered_.callback == nullptr) {
    trace_.line("  callback: none registered");
    return 0;
  }
  std::array<double, 100> figures;
  figures.fill(1e30);
  figures[50] = seconds;
  const auto code = static_cast<VLNcallbackcode_enum>(++callback_count_ * 17);
  const int result = registered_.callback(nullptr, registered_.callback_handle, code,
                                          figures.data(), nullptr, nullptr);
  std::ostringstream line;
  line << "  callback(" << seconds << ") = " << result;
  trace_.line(line.str());
  return result;
}

// Calls back every 10 ms at 0 seconds until asked to stop, at most for 20 s.
void Recorder::call_back_until_stop() {
  if (registered_.callback == nullptr) return trace_.line("  callback: none registered");
  const std::array<double, 100> figures{};
  for (int count = 0; count < 2000; ++count) {
    const int result =
        registered_.callback(nullptr, registered_.callback_handle, VLNcallbackcode_enum{},
                             figures.data(), nullptr, nullptr);
    if (result != 0) return trace_.line("  callback stopped = " + std::to_string(result));
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  trace_.line("  callback never stopped");
}

void Recorder::send_text(const std::string& text) {
  if (registered_.stream != nullptr) registered_.stream(registered_.stream_handle, text.c_str());
}

void Recorder::show_file(const std::string& name) {
  const std::optional<std::string> content = read_file(name);
  trace_.line("  file " + quote(name) + ": " + (content ? quote(*content) : "absent"));
}

// The scripted readings in turn; the last one stays.
int64_t Recorder::read_clock() {
  trace_.line("clock_gettime(0)");
  const int64_t result = script_.clock[clock_position_];
  if (clock_position_ + 1 < script_.clock.size()) ++clock_position_;
  return result;
}

}  // namespace

void record_piece(const std::string& text) { recorder().trace().piece(text); }

}  // namespace recording

using namespace recording;

#define OPERATION(name, ...)                                                                 \
  VLNrescode_enum name(FOR_EACH_ARGUMENT(DECLARED_ARGUMENT, __VA_ARGS__)) {                  \
    const std::vector<Argument> arguments = {FOR_EACH_ARGUMENT(CALL_ARGUMENT, __VA_ARGS__)}; \
    if (!is_forwarding()) return recorder().answer(OperationId::name, arguments);            \
    const auto real = reinterpret_cast<decltype(&name)>(real_operation(OperationId::name));  \
    record_begin(OperationId::name, arguments, {});                                          \
    const VLNrescode_enum result = real(FOR_EACH_ARGUMENT(PLAIN_ARGUMENT, __VA_ARGS__));     \
    record_end(arguments, result);                                                           \
    return result;                                                                           \
  }
// The echo is handed on already formatted, so that a string view needs no repeating.
#define ECHO_OPERATION(name, ...)                                                             \
  VLNrescode_enum name(FOR_EACH_ARGUMENT(DECLARED_ARGUMENT, __VA_ARGS__), ...) {              \
    const std::vector<Argument> arguments = {FOR_EACH_ARGUMENT(CALL_ARGUMENT, __VA_ARGS__)};  \
    va_list more;                                                                             \
    va_start(more, format);                                                                   \
    const EchoText text = read_echo(format, more);                                            \
    va_end(more);                                                                             \
    if (!is_forwarding()) return recorder().answer(OperationId::name, arguments, text.shown); \
    const auto real = reinterpret_cast<decltype(&name)>(real_operation(OperationId::name));   \
    record_begin(OperationId::name, arguments, text.shown);                                   \
    const VLNrescode_enum result = real(task, whichstream, "%s", text.formatted.c_str());     \
    record_end(arguments, result);                                                            \
    return result;                                                                            \
  }
#include "operations.def"
#undef OPERATION
#undef ECHO_OPERATION

// A clock under the script's control, in place of the C library's. Without a scripted clock it is
// the real one and leaves no trace. It asks the environment alone: sanitizers read the clock at any
// time, also while the real library is being opened.
extern "C" VLN_API int clock_gettime(clockid_t clock, struct timespec* result) noexcept {
  const bool scripted = is_set("VORLAN_SCRIPT") && !is_set("VORLAN_FORWARD") && !is_being_made;
  if (clock != CLOCK_REALTIME || !scripted || !recorder().has_clock()) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, result));
  }
  const int64_t reading = recorder().read_clock();
  result->tv_sec = reading / 1'000'000'000;
  result->tv_nsec = reading % 1'000'000'000;
  return 0;
}
