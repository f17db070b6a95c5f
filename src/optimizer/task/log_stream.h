// The log stream of a task: where text for people goes, a file or a function of the caller, and for
// the time of a solve a file of its own besides.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "task/status.h"
#include "task/stop_question.h"
#include "task/text_sink.h"
#include "vorlan.h"

namespace vorlan {

// Says what becomes of the text that a log file holds already.
enum class LogMode { kTruncate, kAppend };

class LogStream {
 public:
  LogStream() = default;
  ~LogStream();
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  // Opens the file at once; on failure the earlier destination stays. shown_name is what messages
  // call the file.
  Status link_file(const char* filename, LogMode mode, std::string_view shown_name);
  // A null function unlinks the stream.
  void link_function(void* handle, vlnstreamfunc function);

  // Opens a file anew that receives what is written, too, until it is closed. shown_name as above.
  // A FIFO waits for its reader until the question says stop.
  Status open_copy(const char* filename, std::string_view shown_name,
                   const StopQuestion& asks_to_stop = {});
  void close_copy();
  // Writes to that file alone.
  void write_copy(const std::string& text);

  // False where text goes nowhere, or into a file that nobody may be looking at.
  bool is_told_at_once() const;

  bool linked() const { return file_.is_open() || function_ != nullptr; }

  // False where text is dropped.
  bool is_heard() const { return linked() || copy_.is_open(); }

  // Hands a piece of text on at once, so that the log of a killed run is whole; dropped when
  // unlinked.
  void write(const std::string& text);

 private:
  void unlink();

  TextSink file_;
  TextSink copy_;
  vlnstreamfunc function_ = nullptr;
  void* handle_ = nullptr;
};

}  // namespace vorlan
