#include "screen.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include "answer_text.h"

namespace vorlan::companion {

namespace {

constexpr auto kPatience = std::chrono::milliseconds(500);  // what is done sooner is not told
constexpr auto kBeat = std::chrono::milliseconds(200);

std::size_t terminal_width() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool is_known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_known ? size.ws_col : kUsual;
}

// At most so many characters of a text in UTF-8.
std::string cut(const std::string& text, std::size_t most) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool begins = (static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U;
    if (begins && ++count > most) return text.substr(0, i);
  }
  return text;
}

// How far this process has read a file that it has open, from what the system tells of its descriptors.
std::optional<double> read_share(const std::filesystem::path& file) {
  std::error_code error;
  const auto size = static_cast<double>(std::filesystem::file_size(file, error));
  if (error || size <= 0.0) return std::nullopt;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    std::error_code gone;
    if (!std::filesystem::equivalent(entry.path(), file, gone) || gone) continue;
    std::ifstream info("/proc/self/fdinfo" / entry.path().filename());
    std::string word;
    double position = 0.0;
    if (info >> word >> position && word == "pos:") return std::min(1.0, position / size);
  }
  return std::nullopt;
}

}  // namespace

Screen::Screen()
    : is_terminal_(isatty(STDERR_FILENO) != 0),
      is_coloured_(is_terminal_ && std::getenv("NO_COLOR") == nullptr) {}

void Screen::erase() {
  if (!line_.empty()) std::fputs("\r\033[K", stderr);
}

void Screen::draw() {
  if (!line_.empty() && at_line_begin_) std::fputs(line_.c_str(), stderr);
  std::fflush(stderr);
}

void Screen::log(const char* text) {
  const std::lock_guard lock(mutex_);
  erase();
  // Dimmer than the answer that follows.
  if (is_coloured_) {
    std::fprintf(stderr, "\033[2m%s\033[0m", text);
  } else {
    std::fputs(text, stderr);
  }
  const std::size_t length = std::strlen(text);
  if (length > 0) at_line_begin_ = text[length - 1] == '\n';
  draw();
}

void Screen::status(const std::string& text) {
  if (!is_terminal_) return;
  const std::lock_guard lock(mutex_);
  if (!at_line_begin_) return;
  erase();
  line_ = cut(text, terminal_width() - 1);
  draw();
}

void Screen::end_status() {
  const std::lock_guard lock(mutex_);
  erase();
  line_.clear();
  std::fflush(stderr);
}

struct FileWatch::Stop {
  std::mutex mutex;
  std::condition_variable condition;
  bool is_wanted = false;
};

FileWatch::FileWatch(Screen& screen, const char* verb, const std::string& file) : screen_(screen) {
  if (!screen.is_terminal()) return;
  stop_ = std::make_unique<Stop>();
  thread_ = std::thread([this, verb = std::string(verb), file] {
    const auto begin = std::chrono::steady_clock::now();
    auto wait = kPatience;
    std::unique_lock lock(stop_->mutex);
    while (!stop_->condition.wait_for(lock, wait, [this] { return stop_->is_wanted; })) {
      wait = kBeat;
      const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
      std::string text = fmt::format("{} {}", verb, printable(file));
      if (const auto share = read_share(file)) text += fmt::format("  {:.0f} %", 100.0 * *share);
      screen_.status(text + fmt::format("  {:.0f} s", elapsed.count()));
    }
  });
}

FileWatch::~FileWatch() {
  if (stop_ == nullptr) return;
  {
    const std::lock_guard lock(stop_->mutex);
    stop_->is_wanted = true;
  }
  stop_->condition.notify_one();
  thread_.join();
  screen_.end_status();
}

}  // namespace vorlan::companion
