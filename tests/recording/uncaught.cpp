// uncaught.cpp - shows an exception that nothing catches. The runtime prints the type but not the
// content of such an exception, so this library, which is loaded before main() begins, puts a
// terminate handler before the runtime's own: it adds one line to the trace and hands on.
// The program under test stays as it is.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "forward.h"
#include "quoting.h"
#include "vorlan.h"

// The program's exception, declared as its users know it: matched by its name at run time.
struct VLNException {
  VLNrescode_enum code;
  const char* file;
  int32_t line;
};

namespace recording {
namespace {

std::terminate_handler runtime_handler = nullptr;

std::string describe_current_exception() {
  if (!std::current_exception()) return "terminate without an exception";
  try {
    throw;
  } catch (const VLNException& error) {
    return "uncaught VLNException " + std::to_string(static_cast<int32_t>(error.code)) + ' ' +
           quote(error.file) + ' ' + std::to_string(error.line);
  } catch (const std::string& text) {
    return "uncaught std::string " + quote(text);
  } catch (const std::out_of_range& error) {
    return "uncaught std::out_of_range " + quote(error.what());
  } catch (const std::exception& error) {
    return "uncaught std::exception " + quote(error.what());
  } catch (...) {
    return "uncaught exception of another type";
  }
}

void show_and_hand_on() {
  record_line(describe_current_exception());
  if (runtime_handler != nullptr) runtime_handler();
  std::abort();
}

[[gnu::constructor]] void install() {
  const char* recording = std::getenv("VORLAN_RECORDING");
  if (recording == nullptr || *recording == '\0') return;
  runtime_handler = std::set_terminate(show_and_hand_on);
}

}  // namespace
}  // namespace recording
