// Layout and hand-over of the shared memory; see shared_result.h.
#include "solve/run/shared_result.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "task/packed_matrices.h"

namespace vorlan {
namespace {

// A message may name a file by the longest of all paths.
constexpr size_t kMessageSize = 8192;
constexpr uint64_t kNumMilestones = 256;

// Which arrays of a result are present.
enum Present : uint32_t {
  kHasX = 1,
  kHasD = 2,
  kHasKeys = 4,
  kHasSnx = 8,
  kHasBarx = 16,
  kHasBars = 32,
  kHasY = 64,
  kHasRanging = 128,
};

// Hands over an array that may be missing; one of another size would be none of this model.
uint32_t put_array(const std::vector<double>& values, Present bit, size_t size, double* memory) {
  if (values.empty() || values.size() != size) return 0;
  std::copy(values.begin(), values.end(), memory);
  return bit;
}

void get_array(uint32_t present, Present bit, const double* memory, size_t size,
               std::vector<double>* values) {
  if ((present & bit) != 0) values->assign(memory, memory + size);
}

}  // namespace

struct SharedResult::Header {
  std::atomic<bool> stop = false;
  std::atomic<bool> complete = false;
  std::atomic<bool> answered = false;
  std::atomic<bool> has_conflict = false;
  std::atomic<bool> memory_exhausted = false;

  std::atomic<double> objective = kInfinity;
  std::atomic<double> bound = -kInfinity;
  std::atomic<double> relative_gap = kInfinity;
  std::atomic<int64_t> simplex_iterations = 0;
  std::atomic<int64_t> interior_iterations = 0;
  std::atomic<int64_t> nodes = 0;
  std::atomic<int64_t> open_nodes = -1;

  // Number of milestones so far. Number k lies in slot k modulo kNumMilestones.
  std::atomic<uint64_t> milestones = 0;
  Milestone milestone[kNumMilestones];

  // Number of points so far. Number k lies in slot k modulo 2: a child killed while it writes the
  // next one leaves the last one whole.
  std::atomic<uint64_t> points = 0;
  uint32_t point_present[2] = {};
  double point_violation[2] = {kInfinity, kInfinity};

  // Written before complete and answered, the conflict before has_conflict.
  Code code = Code::kOk;
  char message[kMessageSize] = {};
  Outcome outcome = Outcome::kUnknown;
  Certificate certificate = Certificate::kNone;
  Code termination = Code::kOk;
  Verdict verdict;
  bool is_held = false;
  bool conflict_is_minimal = false;
  uint32_t present = 0;

  static_assert(std::atomic<double>::is_always_lock_free);
  static_assert(std::atomic<uint64_t>::is_always_lock_free);
};

SharedResult::SharedResult(const Model& model)
    : num_var_(model.cost.size()),
      num_con_(model.con_lower.size()),
      num_packed_(packed_starts(model).back()),
      num_marks_(num_con_ + num_var_ + model.cones.size() + model.sets.size()) {
  const size_t one_result = 3 * num_var_ + num_con_ + 2 * num_packed_;
  const size_t head = (sizeof(Header) + 63) / 64 * 64;
  const size_t num_both = num_var_ + num_con_;
  size_ = head + (3 * one_result + kRangeFigures * num_both) * sizeof(double) +
          num_both * sizeof(StatusKey) + num_marks_;
  void* memory = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return;
  header_ = new (memory) Header;
  auto* const arrays = reinterpret_cast<double*>(static_cast<char*>(memory) + head);
  answer_ = lay_out(arrays);
  point_[0] = lay_out(arrays + one_result);
  point_[1] = lay_out(arrays + 2 * one_result);
  ranging_ = arrays + 3 * one_result;
  var_key_ = reinterpret_cast<StatusKey*>(ranging_ + kRangeFigures * num_both);
  con_key_ = var_key_ + num_var_;
  conflict_ = reinterpret_cast<uint8_t*>(con_key_ + num_con_);
}

SharedResult::~SharedResult() {
  if (header_ != nullptr) ::munmap(header_, size_);
}

void SharedResult::ask_to_stop() { header_->stop = true; }
bool SharedResult::stop_asked() const { return header_->stop; }
void SharedResult::note_memory_exhausted() { header_->memory_exhausted = true; }
bool SharedResult::memory_exhausted() const { return header_->memory_exhausted; }
bool SharedResult::complete() const { return header_->complete; }
bool SharedResult::has_answer() const { return header_->answered || header_->complete; }

Progress SharedResult::progress() const {
  Progress progress;
  progress.objective = header_->objective;
  progress.bound = header_->bound;
  progress.relative_gap = header_->relative_gap;
  progress.simplex_iterations = header_->simplex_iterations;
  progress.interior_iterations = header_->interior_iterations;
  progress.nodes = header_->nodes;
  progress.open_nodes = header_->open_nodes;
  return progress;
}

bool SharedResult::take_milestone(Milestone* milestone) {
  const uint64_t count = header_->milestones;
  milestones_taken_ = std::max(milestones_taken_, count - std::min(count, kNumMilestones / 2));
  if (milestones_taken_ == count) return false;
  const uint64_t number = milestones_taken_ + 1;
  *milestone = header_->milestone[number % kNumMilestones];
  // The child may have come round meanwhile.
  if (header_->milestones - number >= kNumMilestones) return take_milestone(milestone);
  milestones_taken_ = number;
  return true;
}

void SharedResult::add_milestone(const Milestone& milestone) {
  const uint64_t number = header_->milestones + 1;
  header_->milestone[number % kNumMilestones] = milestone;
  header_->milestones = number;
}

void SharedResult::publish(const Progress& progress) {
  // Figures for a display: each is whole, their order does not matter.
  const auto order = std::memory_order_relaxed;
  header_->objective.store(progress.objective, order);
  header_->bound.store(progress.bound, order);
  header_->relative_gap.store(progress.relative_gap, order);
  header_->simplex_iterations.store(progress.simplex_iterations, order);
  header_->interior_iterations.store(progress.interior_iterations, order);
  header_->nodes.store(progress.nodes, order);
  header_->open_nodes.store(progress.open_nodes, order);
}

SharedResult::Arrays SharedResult::lay_out(double* memory) const {
  Arrays arrays = {};
  arrays.x = memory;
  arrays.d = arrays.x + num_var_;
  arrays.snx = arrays.d + num_var_;
  arrays.y = arrays.snx + num_var_;
  arrays.barx = arrays.y + num_con_;
  arrays.bars = arrays.barx + num_packed_;
  return arrays;
}

uint32_t SharedResult::put(const BackendResult& result, const Arrays& arrays) const {
  return put_array(result.x, kHasX, num_var_, arrays.x) |
         put_array(result.d, kHasD, num_var_, arrays.d) |
         put_array(result.snx, kHasSnx, num_var_, arrays.snx) |
         put_array(result.y, kHasY, num_con_, arrays.y) |
         put_array(result.barx, kHasBarx, num_packed_, arrays.barx) |
         put_array(result.bars, kHasBars, num_packed_, arrays.bars);
}

void SharedResult::get(uint32_t present, const Arrays& arrays, BackendResult* result) const {
  get_array(present, kHasX, arrays.x, num_var_, &result->x);
  get_array(present, kHasD, arrays.d, num_var_, &result->d);
  get_array(present, kHasSnx, arrays.snx, num_var_, &result->snx);
  get_array(present, kHasY, arrays.y, num_con_, &result->y);
  get_array(present, kHasBarx, arrays.barx, num_packed_, &result->barx);
  get_array(present, kHasBars, arrays.bars, num_packed_, &result->bars);
}

void SharedResult::keep(const BackendResult& point, double primal_violation) {
  const uint64_t number = header_->points + 1;
  const size_t slot = number % 2;
  header_->point_present[slot] = put(point, point_[slot]);
  header_->point_violation[slot] = primal_violation;
  header_->points = number;
}

bool SharedResult::take_point(BackendResult* point, double* primal_violation) {
  // The child may write a slot while it is read. Then there is a newer point.
  constexpr int kMostTries = 3;
  for (int attempt = 0; attempt < kMostTries; ++attempt) {
    const uint64_t number = header_->points;
    if (number == points_taken_) return false;
    *point = {};
    last_point(point, primal_violation);
    if (header_->points != number) continue;
    points_taken_ = number;
    return true;
  }
  return false;
}

void SharedResult::last_point(BackendResult* point, double* primal_violation) const {
  const uint64_t number = header_->points;
  const size_t slot = number % 2;
  get(header_->point_present[slot], point_[slot], point);
  *primal_violation = header_->point_violation[slot];
}

void SharedResult::keep_answer(const Answer& answer) {
  put_status({});
  put_answer(answer);
  header_->answered = true;
}

void SharedResult::finish(const Status& status, const Answer& answer) {
  if (!header_->answered) {
    put_status(status);
    put_answer(answer);
  }
  if (status.ok()) put_conflict(answer.conflict);
  header_->complete = true;
}

void SharedResult::put_status(const Status& status) {
  header_->code = status.code();
  const size_t length = std::min(status.message().size(), kMessageSize - 1);
  std::memcpy(header_->message, status.message().data(), length);
  header_->message[length] = '\0';
}

void SharedResult::put_answer(const Answer& answer) {
  Header& header = *header_;
  const BackendResult& result = answer.result;
  publish(result.progress);
  header.outcome = result.outcome;
  header.certificate = result.certificate;
  header.termination = result.termination;
  header.verdict = answer.verdict;
  header.is_held = answer.is_held;
  header.present = put(result, answer_);
  const bool has_keys = !result.var_key.empty() || !result.con_key.empty();
  if (has_keys && result.var_key.size() == num_var_ && result.con_key.size() == num_con_) {
    header.present |= kHasKeys;
    std::copy(result.var_key.begin(), result.var_key.end(), var_key_);
    std::copy(result.con_key.begin(), result.con_key.end(), con_key_);
  }
  header.present |=
      put_array(result.ranging, kHasRanging, kRangeFigures * (num_var_ + num_con_), ranging_);
}

void SharedResult::put_conflict(const Conflict& conflict) {
  if (conflict.marks.empty() || conflict.marks.size() != num_marks_) return;
  header_->conflict_is_minimal = conflict.is_minimal;
  std::copy(conflict.marks.begin(), conflict.marks.end(), conflict_);
  header_->has_conflict = true;
}

Status SharedResult::take(Answer* answer) const {
  const Header& header = *header_;
  BackendResult* const result = &answer->result;
  if (header.code != Code::kOk) return {header.code, std::string(header.message)};
  result->outcome = header.outcome;
  result->certificate = header.certificate;
  result->termination = header.termination;
  result->progress = progress();
  answer->verdict = header.verdict;
  answer->is_held = header.is_held;
  get(header.present, answer_, result);
  const size_t num_both = num_var_ + num_con_;
  get_array(header.present, kHasRanging, ranging_, kRangeFigures * num_both, &result->ranging);
  if (header.has_conflict) {
    answer->conflict.is_minimal = header.conflict_is_minimal;
    answer->conflict.marks.assign(conflict_, conflict_ + num_marks_);
  }
  if ((header.present & kHasKeys) != 0) {
    result->var_key.assign(var_key_, var_key_ + num_var_);
    result->con_key.assign(con_key_, con_key_ + num_con_);
  }
  return {};
}

}  // namespace vorlan
