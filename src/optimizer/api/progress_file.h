// The progress file of a solve: a JSON object a line, each written at once, so that whoever reads
// along sees it and a killed run leaves what it knew.
#pragma once

#include <string>

#include "solve/optimize.h"
#include "task/status.h"
#include "task/stop_question.h"
#include "task/text_sink.h"

namespace vorlan::api {

class ProgressFile {
 public:
  // Opens the file anew. shown_name is what messages call it. A FIFO waits for its reader until the
  // question says stop.
  [[nodiscard]] Status open(const std::string& filename, const std::string& shown_name,
                            const StopQuestion& asks_to_stop);
  bool is_open() const { return sink_.is_open(); }
  void write(const ProgressRecord& record);

 private:
  TextSink sink_;
};

}  // namespace vorlan::api
