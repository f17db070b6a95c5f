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

constexpr size_t kMessageSize = 1024;

// Which arrays of a result are present.
enum Present : uint32_t {
  kHasX = 1,
  kHasDuals = 2,
  kHasKeys = 4,
  kHasSnx = 8,
  kHasBarx = 16,
  kHasBars = 32,
};

// Hands over an array that may be missing.
void put(const std::vector<double>& values, Present bit, double* memory, uint32_t* present) {
  if (values.empty()) return;
  *present |= bit;
  std::copy(values.begin(), values.end(), memory);
}

void get(uint32_t present, Present bit, const double* memory, size_t size,
         std::vector<double>* values) {
  if ((present & bit) != 0) values->assign(memory, memory + size);
}

}  // namespace

struct SharedResult::Header {
  std::atomic<bool> stop = false;
  std::atomic<bool> complete = false;
  std::atomic<bool> memory_exhausted = false;

  std::atomic<double> objective = kInfinity;
  std::atomic<double> bound = -kInfinity;
  std::atomic<double> relative_gap = kInfinity;
  std::atomic<int64_t> simplex_iterations = 0;
  std::atomic<int64_t> interior_iterations = 0;
  std::atomic<int64_t> nodes = 0;

  // Number of incumbents so far. Number k lies in slot k modulo 2: a child killed while it writes
  // the next one leaves the last one whole.
  std::atomic<uint64_t> incumbents = 0;

  // Written before complete.
  Code code = Code::kOk;
  char message[kMessageSize] = {};
  Outcome outcome = Outcome::kUnknown;
  Certificate certificate = Certificate::kNone;
  Code termination = Code::kOk;
  uint32_t present = 0;

  static_assert(std::atomic<double>::is_always_lock_free);
  static_assert(std::atomic<uint64_t>::is_always_lock_free);
};

SharedResult::SharedResult(const Model& model)
    : num_var_(model.cost.size()),
      num_con_(model.con_lower.size()),
      num_packed_(packed_starts(model).back()) {
  const size_t doubles = 5 * num_var_ + num_con_ + 4 * num_packed_;
  const size_t head = (sizeof(Header) + 63) / 64 * 64;
  size_ = head + doubles * sizeof(double) + (num_var_ + num_con_) * sizeof(StatusKey);
  void* memory = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return;
  header_ = new (memory) Header;
  x_ = reinterpret_cast<double*>(static_cast<char*>(memory) + head);
  d_ = x_ + num_var_;
  incumbent_[0] = d_ + num_var_;
  incumbent_[1] = incumbent_[0] + num_var_ + num_packed_;
  y_ = incumbent_[1] + num_var_ + num_packed_;
  snx_ = y_ + num_con_;
  barx_ = snx_ + num_var_;
  bars_ = barx_ + num_packed_;
  var_key_ = reinterpret_cast<StatusKey*>(bars_ + num_packed_);
  con_key_ = var_key_ + num_var_;
}

SharedResult::~SharedResult() {
  if (header_ != nullptr) ::munmap(header_, size_);
}

void SharedResult::ask_to_stop() { header_->stop = true; }
bool SharedResult::stop_asked() const { return header_->stop; }
void SharedResult::note_memory_exhausted() { header_->memory_exhausted = true; }
bool SharedResult::memory_exhausted() const { return header_->memory_exhausted; }
bool SharedResult::complete() const { return header_->complete; }

Progress SharedResult::progress() const {
  Progress progress;
  progress.objective = header_->objective;
  progress.bound = header_->bound;
  progress.relative_gap = header_->relative_gap;
  progress.simplex_iterations = header_->simplex_iterations;
  progress.interior_iterations = header_->interior_iterations;
  progress.nodes = header_->nodes;
  return progress;
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
}

void SharedResult::publish_incumbent(std::span<const double> x, std::span<const double> barx) {
  const uint64_t number = header_->incumbents + 1;
  double* const slot = incumbent_[number % 2];
  std::copy_n(x.begin(), std::min(x.size(), num_var_), slot);
  std::copy_n(barx.begin(), std::min(barx.size(), num_packed_), slot + num_var_);
  header_->incumbents = number;
}

Incumbent SharedResult::last_incumbent() const {
  const uint64_t number = header_->incumbents;
  if (number == 0) return {};
  const double* const x = incumbent_[number % 2];
  const double* const barx = x + num_var_;
  return {{x, barx}, {barx, barx + num_packed_}};
}

void SharedResult::finish(const Status& status, const BackendResult& result) {
  Header& header = *header_;
  publish(result.progress);
  header.code = status.code();
  const size_t length = std::min(status.message().size(), kMessageSize - 1);
  std::memcpy(header.message, status.message().data(), length);
  header.message[length] = '\0';
  header.outcome = result.outcome;
  header.certificate = result.certificate;
  header.termination = result.termination;
  header.present = 0;
  put(result.x, kHasX, x_, &header.present);
  put(result.snx, kHasSnx, snx_, &header.present);
  put(result.barx, kHasBarx, barx_, &header.present);
  put(result.bars, kHasBars, bars_, &header.present);
  if (!result.y.empty() || !result.d.empty()) {
    header.present |= kHasDuals;
    std::copy(result.y.begin(), result.y.end(), y_);
    std::copy(result.d.begin(), result.d.end(), d_);
  }
  if (!result.var_key.empty() || !result.con_key.empty()) {
    header.present |= kHasKeys;
    std::copy(result.var_key.begin(), result.var_key.end(), var_key_);
    std::copy(result.con_key.begin(), result.con_key.end(), con_key_);
  }
  header.complete = true;
}

Status SharedResult::take(BackendResult* result) const {
  const Header& header = *header_;
  if (header.code != Code::kOk) return {header.code, std::string(header.message)};
  result->outcome = header.outcome;
  result->certificate = header.certificate;
  result->termination = header.termination;
  result->progress = progress();
  get(header.present, kHasX, x_, num_var_, &result->x);
  get(header.present, kHasSnx, snx_, num_var_, &result->snx);
  get(header.present, kHasBarx, barx_, num_packed_, &result->barx);
  get(header.present, kHasBars, bars_, num_packed_, &result->bars);
  if ((header.present & kHasDuals) != 0) {
    result->y.assign(y_, y_ + num_con_);
    result->d.assign(d_, d_ + num_var_);
  }
  if ((header.present & kHasKeys) != 0) {
    result->var_key.assign(var_key_, var_key_ + num_var_);
    result->con_key.assign(con_key_, con_key_ + num_con_);
  }
  return {};
}

}  // namespace vorlan
