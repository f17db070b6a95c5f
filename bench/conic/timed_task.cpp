// See timed_task.h.
#include "timed_task.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "statistics.h"

namespace {

constexpr int kInterior = 0;
constexpr int kOptimal = 1;

[[noreturn]] void give_up(const std::string& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
  std::exit(1);
}

}  // namespace

TimedTask::TimedTask(const std::string& text, const std::string& suffix) {
  const std::string path = "timed" + suffix;
  std::ofstream(path) << text;
  check(VLN_makeemptytask(nullptr, &task_));
  check(VLN_linkfunctotaskstream(task_, 0, &log_, [](void* log, const char* piece) {
    static_cast<std::string*>(log)->append(piece);
  }));
  // Each round from the start: an unchanged model is not solved twice.
  check(VLN_putparam(task_, "VLN_IPAR_WARM_START", "off"));
  check(VLN_readdata(task_, path.c_str()));
  std::remove(path.c_str());
}

TimedTask::~TimedTask() { VLN_deletetask(&task_); }

void TimedTask::check(VLNrescode_enum code) const {
  if (code != VLN_RES_OK) give_up("the library answers " + std::to_string(code) + ": " + log_);
}

TimedTask::Figures TimedTask::solve() {
  log_.clear();
  VLNrescode_enum termination = VLN_RES_OK;
  Figures figures{};
  const double start = now();
  check(VLN_optimizetrm(task_, &termination));
  figures.seconds = now() - start;
  int status = 0;
  check(VLN_getsolsta(task_, kInterior, &status));
  if (status != kOptimal) give_up("no optimal solution: " + log_);
  check(VLN_getprimalobj(task_, kInterior, &figures.objective));
  const std::string label = "\n  iterations ";
  const size_t at = log_.rfind(label);
  if (at == std::string::npos) give_up("the log has no number of iterations");
  figures.iterations = std::atoi(log_.c_str() + at + label.size());
  return figures;
}
