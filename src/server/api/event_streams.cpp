// The two streams of events; see event_streams.h.
#include "api/event_streams.h"

#include <charconv>
#include <chrono>

#include "api/documents.h"
#include "base/files.h"
#include "run/log_cap.h"

namespace vorlan::server {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// How often the place of a queued job is looked at.
constexpr auto kLookAtQueue = 1s;
// All else is told when it changes.
constexpr auto kLookAtRest = 60s;
// The list tells many changes together.
constexpr auto kListBeat = 250ms;
constexpr size_t kMostNewsOfAPiece = 100;
// Watchers that are up to date are at the same few events.
constexpr size_t kMostTexts = 256;
constexpr size_t kLogPiece = size_t{16} << 10;

// `document` ends with a newline.
std::string event(const char* name, const std::string& id, const std::string& document) {
  const std::string id_line = id.empty() ? "" : "id: " + id + "\n";
  return id_line + "event: " + name + "\ndata: " + document + "\n";
}

// The part that both streams share: a question that is held until there is something to say.
class EventStream : public Stream {
 public:
  EventStream(Loop* loop, Jobs* jobs, Heartbeat heartbeat)
      : loop_(loop), jobs_(jobs), heartbeat_(std::move(heartbeat)) {}

  void next(std::function<void(std::string)> give) final {
    give_ = std::move(give);
    heartbeat_at_ = Clock::now() + heartbeat_.period;
    look();
  }

 protected:
  // Nothing while there is nothing to say.
  virtual std::string make_piece() = 0;
  // When the next look is due; called once make_piece() had nothing. May watch for changes.
  virtual Clock::duration wait() = 0;
  void end() { is_over_ = true; }
  // A watch that makes the stream look again.
  Jobs::Watch make_watch() {
    watch_ = std::make_shared<std::function<void()>>([this] { look(); });
    return watch_;
  }

  Loop* loop_;
  Jobs* jobs_;

 private:
  void look() {
    if (give_ == nullptr) return;
    std::string piece = is_over_ ? "" : make_piece();
    if (piece.empty() && !is_over_) {
      if (Clock::now() < heartbeat_at_) return look_later(wait());
      if (!heartbeat_.still_allowed()) return say("");
      piece = ": still here\n\n";
    }
    say(std::move(piece));
  }

  void look_later(Clock::duration delay) {
    const auto until = std::min<Clock::duration>(delay, heartbeat_at_ - Clock::now());
    const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(until);
    timer_ = loop_->after(std::max(rounded, 1ms), [this] { look(); });
  }

  void say(std::string piece) {
    watch_.reset();
    const auto give = std::exchange(give_, nullptr);
    give(std::move(piece));
  }

  Heartbeat heartbeat_;
  std::function<void(std::string)> give_;
  Clock::time_point heartbeat_at_;
  Jobs::Watch watch_;
  Loop::Handle timer_;
  bool is_over_ = false;
};

class JobEvents : public EventStream {
 public:
  JobEvents(Loop* loop, Jobs* jobs, std::string id, std::string_view position, Heartbeat heartbeat)
      : EventStream(loop, jobs, std::move(heartbeat)), id_(std::move(id)) {
    const size_t dash = position.find('-');
    if (dash == std::string_view::npos) return;
    read(position.substr(0, dash), &attempt_);
    read(position.substr(dash + 1), &offset_);
  }

 private:
  template <class Number>
  static void read(std::string_view text, Number* number) {
    std::from_chars(text.data(), text.data() + text.size(), *number);
  }

  std::string make_piece() override {
    const Job* job = jobs_->find(id_);
    if (job == nullptr) {
      end();
      return event("deleted", "", deletion_document(id_));
    }
    std::string piece = state_event(*job);
    piece += log_event_of(*job);
    if (!piece.empty() || job->state != JobState::kEnded) return piece;
    end();
    return event("end", "", "{}\n");
  }

  std::string state_event(const Job& job) {
    const size_t place = job.state == JobState::kQueued ? jobs_->queue_place(job) : 0;
    if (job.news == told_news_ && place == told_place_) return {};
    told_news_ = job.news;
    told_place_ = place;
    return event("job", "", job_document(*jobs_, job));
  }

  // Whole lines, as long as more can come.
  std::string log_event_of(const Job& job) {
    if (job.attempt != attempt_) {
      attempt_ = job.attempt;
      offset_ = reader_offset_ = 0;
      reader_ = {};
    }
    const std::string path = jobs_->attempt_folder(job) + "/" + kLogFile;
    place_in_log(job, file_size(path).value_or(0));
    if (reader_offset_ != offset_) catch_up(path);
    std::string text = read_part(path, offset_, kLogPiece).value_or("");
    const size_t end_of_line = text.rfind('\n');
    if (end_of_line != std::string::npos) {
      text.resize(end_of_line + 1);
    } else if (text.size() < kLogPiece && job.state != JobState::kEnded) {
      return {};
    }
    if (text.empty()) return {};
    const uint64_t from = offset_;
    offset_ = reader_offset_ = from + text.size();
    return event("log", std::to_string(attempt_) + "-" + std::to_string(offset_),
                 log_document(attempt_, from, text, reader_.read_text(text)));
  }

  // A long log has lost its middle. When its job ends, the places in it change: then the last part
  // comes once more.
  void place_in_log(const Job& job, uint64_t size) {
    if (job.state != JobState::kEnded) {
      offset_ = next_kept_byte(offset_, size);
    } else if (offset_ > size && size > kLogHead) {
      offset_ = size - kLogPiece;
    }
  }

  // Reads the lines before the place where the stream goes on: they tell in which table it is.
  void catch_up(const std::string& path) {
    const uint64_t from = offset_ - std::min<uint64_t>(offset_, kLogPiece);
    reader_.read_text(read_part(path, from, offset_ - from).value_or(""));
    reader_offset_ = offset_;
  }

  Clock::duration wait() override {
    const Job* job = jobs_->find(id_);
    jobs_->watch(id_, make_watch());
    return job->state == JobState::kQueued ? kLookAtQueue : kLookAtRest;
  }

  std::string id_;
  int64_t attempt_ = 0;
  uint64_t offset_ = 0;
  ProgressReader reader_;
  uint64_t reader_offset_ = 0;
  uint64_t told_news_ = 0;
  size_t told_place_ = 0;
};

class ListEvents : public EventStream {
 public:
  ListEvents(Loop* loop, Jobs* jobs, std::shared_ptr<ListTexts> texts, Token token, uint64_t after,
             Heartbeat heartbeat)
      : EventStream(loop, jobs, std::move(heartbeat)),
        texts_(std::move(texts)),
        token_(std::move(token)),
        told_(after) {}

 private:
  std::string make_piece() override {
    if (Clock::now() < silent_until_) return {};
    std::string piece;
    if (told_ < jobs_->forgotten() || told_ > jobs_->last_news()) {
      told_ = jobs_->last_news();
      piece = event("reset", std::to_string(told_), "{}\n");
    }
    size_t count = 0;
    const auto& news = jobs_->news();
    for (auto at = news.upper_bound(told_); at != news.end() && count < kMostNewsOfAPiece; ++at) {
      told_ = at->first;
      if (!may_see(token_, at->second.owner)) continue;
      piece += texts_->text(at->first, [&] { return told(at->first, at->second); });
      ++count;
    }
    if (!piece.empty()) silent_until_ = Clock::now() + kListBeat;
    return piece;
  }

  // A job that is being deleted is not seen any more; that it is gone comes later.
  std::string told(uint64_t number, const Jobs::News& news) const {
    const std::string id = std::to_string(number);
    if (news.is_deletion) return event("deleted", id, deletion_document(news.id));
    const Job* job = jobs_->find(news.id);
    return job == nullptr ? "" : event("job", id, listed_job_document(*job));
  }

  Clock::duration wait() override {
    if (Clock::now() < silent_until_) return silent_until_ - Clock::now();
    jobs_->watch_all(make_watch());
    return kLookAtRest;
  }

  std::shared_ptr<ListTexts> texts_;
  Token token_;
  uint64_t told_;
  Clock::time_point silent_until_;
};

}  // namespace

const std::string& ListTexts::text(uint64_t number, const std::function<std::string()>& make) {
  const auto [place, is_new] = texts_.try_emplace(number);
  if (is_new) {
    place->second = make();
    if (texts_.size() > kMostTexts && texts_.begin() != place) texts_.erase(texts_.begin());
  }
  return place->second;
}

bool may_see(const Token& token, const std::string& owner) {
  return token.role == Role::kAdmin || token.owner == owner;
}

std::shared_ptr<Stream> job_events(Loop* loop, Jobs* jobs, const std::string& id,
                                   std::string_view position, Heartbeat heartbeat) {
  return std::make_shared<JobEvents>(loop, jobs, id, position, std::move(heartbeat));
}

std::shared_ptr<Stream> list_events(Loop* loop, Jobs* jobs, std::shared_ptr<ListTexts> texts,
                                    const Token& token, uint64_t after, Heartbeat heartbeat) {
  return std::make_shared<ListEvents>(loop, jobs, std::move(texts), token, after,
                                      std::move(heartbeat));
}

}  // namespace vorlan::server
