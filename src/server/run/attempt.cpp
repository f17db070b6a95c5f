// Words and files of a worker; see attempt.h.
#include "run/attempt.h"

#include <charconv>

#include "base/files.h"
#include "run/progress.h"

namespace vorlan::server {
namespace {

constexpr size_t kLongestCode = 256;
constexpr size_t kLongestMessage = size_t{64} << 10;
// The library's error line is among the last of a log.
constexpr size_t kLogEnd = size_t{64} << 10;

std::string shortest(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

// The line "VLN_RES_ERR_NAME (number): text" by which the library tells a failure, if the text has
// one; the last of them is what ended the run.
struct ErrorLine {
  std::string code, message;
};
std::optional<ErrorLine> find_error_line(const std::string& text) {
  constexpr std::string_view kStart = "VLN_RES_ERR_";
  for (size_t at = text.rfind(kStart); at != std::string::npos;
       at = at == 0 ? std::string::npos : text.rfind(kStart, at - 1)) {
    if (at != 0 && text[at - 1] != '\n') continue;
    const std::string line = text.substr(at, text.find('\n', at) - at);
    const size_t blank = line.find(" (");
    const size_t colon = line.find("): ");
    if (blank == std::string::npos || colon == std::string::npos) continue;
    return ErrorLine{line.substr(0, blank), line.substr(colon + 3)};
  }
  return {};
}

// The files of an attempt's folder.
class AttemptFiles {
 public:
  explicit AttemptFiles(const std::string& folder) : folder_(folder) {}

  // The file's first bytes; empty where there is no such file.
  std::string text(const char* name, size_t limit) {
    const auto found = read_start(folder_ + "/" + name, limit);
    if (!found && exists(folder_ + "/" + name)) unreadable_ = true;
    return found.value_or("");
  }
  bool unreadable() const { return unreadable_; }

 private:
  std::string folder_;
  bool unreadable_ = false;
};

// The worker ends by an uncaught exception when a command fails, and by a refused size.
bool ended_by_itself(AttemptFiles* files) {
  return files->text(kErrorFile, kLongestMessage).find("terminate called") != std::string::npos;
}

void take_error_line(const std::string& folder, Verdict* verdict) {
  for (const char* name : {kErrorFile, kLogFile}) {
    const auto line = find_error_line(read_end(folder + "/" + name, kLogEnd).value_or(""));
    if (!line) continue;
    verdict->response = line->code;
    verdict->message = line->message;
    return;
  }
}

}  // namespace

std::vector<std::string> worker_arguments(const std::string& problem,
                                          const WorkerSettings& settings) {
  std::vector<std::string> words = {"-log",
                                    kLogFile,
                                    "-pid-file",
                                    kPidFile,
                                    "-read:mode=safe",
                                    "../" + problem,
                                    "-d",
                                    "VLN_SPAR_LOG_FILE",
                                    kSolveLogFile,
                                    "-d",
                                    "VLN_IPAR_CHILD_PROCESS",
                                    "automatic"};
  const auto set = [&words](const char* name, const std::string& value) {
    words.insert(words.end(), {"-d", name, value});
  };
  if (settings.threads > 0) set("VLN_IPAR_NUM_THREADS", std::to_string(settings.threads));
  if (settings.memory_mib > 0) set("VLN_DPAR_MEMORY_LIMIT", shortest(settings.memory_mib));
  std::string solve = "-solve:res=res,trm=trm,msg=msg";
  if (settings.time_limit > 0) solve += ",time-limit=" + shortest(settings.time_limit);
  if (settings.max_variables > 0) solve += ",max-numvar=" + std::to_string(settings.max_variables);
  if (settings.max_constraints > 0) {
    solve += ",max-numcon=" + std::to_string(settings.max_constraints);
  }
  words.insert(words.end(),
               {"-indicator-file:started", kStartedFile, solve, "-write-solution:format=task+zstd",
                "result", "-write-solution", "solution.json", "-write-solution", "solution.plain",
                "-indicator-file:done", "done"});
  return words;
}

const std::vector<FetchedFile>& fetched_files() {
  static const std::vector<FetchedFile> files = {{"result", "application/zstd"},
                                                 {"solution.json", "application/json"},
                                                 {"solution.plain", "text/plain"},
                                                 {kLogFile, "text/plain"},
                                                 {kSolveLogFile, "text/plain"}};
  return files;
}

Verdict judge_attempt(const std::string& folder) {
  Verdict verdict;
  AttemptFiles files(folder);
  const bool done = files.text("done", kLongestCode) == "done";
  const bool solved = exists(folder + "/res");
  verdict.began = exists(folder + "/" + kPidFile);
  verdict.solve_began = file_time(folder + "/" + kStartedFile).value_or(0.0);
  verdict.response = files.text("res", kLongestCode);
  verdict.termination = files.text("trm", kLongestCode);
  verdict.message = files.text("msg", kLongestMessage);
  verdict.failure = files.text(kFailureFile, kLongestMessage);
  const auto progress = last_progress(folder + "/" + kLogFile);
  if (progress) verdict.progress = progress_document(*progress);
  verdict.finished = verdict.did_all = done;
  verdict.without_result = done && !solved;
  if (!done && ended_by_itself(&files)) {
    verdict.finished = true;
    if (!solved || verdict.response == "VLN_RES_OK") take_error_line(folder, &verdict);
    if (verdict.response.empty()) verdict.response = "VLN_RES_ERR_OPTIMIZER_DIED";
  }
  verdict.unreadable = files.unreadable();
  return verdict;
}

}  // namespace vorlan::server
