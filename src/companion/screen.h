// Standard error as a person sees it: the log as it comes and, on a terminal, a last line that tells
// how far the work is. Elsewhere it is the log alone.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace vorlan::companion {

class Screen {
 public:
  Screen();
  ~Screen() { end_status(); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  // Whether there is a line to tell how far the work is.
  bool is_terminal() const { return is_terminal_; }

  void log(const char* text);
  // Puts the text in place of the last line, cut to the terminal's width; nothing elsewhere.
  void status(const std::string& text);
  void end_status();

 private:
  void erase();
  void draw();

  bool is_terminal_;
  bool is_coloured_;
  std::mutex mutex_;  // a FileWatch tells its state from a thread of its own
  std::string line_;
  bool at_line_begin_ = true;
};

// For as long as an object lives, the screen tells that the file is being read or written: how much of
// it was read where the system knows, and for how long.
class FileWatch {
 public:
  FileWatch(Screen& screen, const char* verb, const std::string& file);
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

 private:
  struct Stop;

  Screen& screen_;
  std::unique_ptr<Stop> stop_;  // none where nobody looks
  std::thread thread_;
};

}  // namespace vorlan::companion
