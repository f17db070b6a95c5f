// Event lines and steps to fall at; see event_log.h.
#include "base/event_log.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "base/files.h"

namespace vorlan::server {
namespace {

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') result += '\\';
    if (byte < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", byte);
      result += escape;
    } else {
      result += c;
    }
  }
  return result + '"';
}

struct FallPoint {
  std::string step;
  std::atomic<long> passes = 0;

  FallPoint() {
    const char* text = std::getenv("VORLAN_SERVER_FALL_AT");
    if (text == nullptr) return;
    step = text;
    const size_t colon = step.find(':');
    if (colon == std::string::npos) return;
    passes = std::strtol(step.c_str() + colon + 1, nullptr, 10);
    step.resize(colon);
  }
};

}  // namespace

void log_event(std::string_view event, std::initializer_list<EventField> fields) {
  char time[32];
  std::snprintf(time, sizeof time, "%.3f", unix_time());
  std::string line = std::string("{\"time\":") + time + ",\"event\":" + quoted(event);
  for (const EventField& field : fields) {
    line += "," + quoted(field.name) + ":" + quoted(field.value);
  }
  line += "}\n";
  // One write, so that lines of several threads do not mix. Nothing can be done when it fails.
  (void)write_all(STDERR_FILENO, line);
}

void fall_point(std::string_view step) {
  static FallPoint point;
  if (point.step != step || point.passes-- > 0) return;
  kill(getpid(), SIGKILL);
  pause();
}

}  // namespace vorlan::server
