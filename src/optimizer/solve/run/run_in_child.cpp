// The parent's watch over the children that do the work of a solve: one, or several that race.
//
// A race begins when the first child has had a head start, which small models never see the end of.
// All of the children do the same work with other parameters. The first answer that settles the
// model ends the race; where a stop comes first, or nobody has such an answer, the best of what they
// found stands, that of a child that died as well. Only the first child's log text is passed on,
// since the others' would be between its lines. Text and milestones are told in the order in which
// the children came to them.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "solve/run/child_process.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Signals may come as fast as they like: a wait that they interrupt must not become a busy one.
constexpr useconds_t kInterruptionPauseMicroseconds = 200;

class Team {
 public:
  Team(const Work& work, const Race& race, Task* task, Listener* listener)
      : work_(work),
        race_(race),
        task_(task),
        listener_(listener),
        is_search_(task->model.is_mixed_integer()),
        race_start_(race.racers.empty() ? kInfinity : race.head_start) {}

  Status run(Answer* answer);

 private:
  struct Member {
    const char* name;
    std::unique_ptr<ChildProcess> child;
    bool is_judged = false;
    Status status;
    Answer answer;
  };
  Status add(const char* name, const Parameters& parameters);
  bool may_start_race();
  void start_race();
  void wait_for_text();
  void tell_events(Progress* figures);
  Member* next_with_milestone();
  bool tell_milestone(Milestone* milestone);
  void pass_points();
  Progress progress() const;
  bool is_over() const;
  void judge(Member* member);
  Member* find_winner();
  Member* find_best();
  void take_points_of_the_dead(Member* best);
  void leave_others(const Member& winner);

  const Work& work_;
  const Race& race_;
  Task* task_;
  Listener* listener_;
  bool is_search_;  // for integer points
  std::vector<Member> members_;
  double race_start_;  // seconds from the solve's begin; infinite once the racers are there
  double best_milestone_ = kInfinity;
};

Status Team::add(const char* name, const Parameters& parameters) {
  auto child = std::make_unique<ChildProcess>(task_->model);
  task_->killed_children.reap_ended();
  task_->killed_children.reserve(members_.size() + 1);
  Status status = child->start(work_, parameters, *listener_);
  if (status.ok()) members_.push_back({name, std::move(child), false, {}, {}});
  return status;
}

bool Team::may_start_race() {
  const double now = listener_->elapsed();
  if (now < race_start_ || listener_->stopped() || members_[0].child->is_over()) return false;
  if (race_.has_room == nullptr || race_.has_room()) return true;
  race_start_ = 2.0 * now;
  return false;
}

// What cannot be started is done without, and so is who finds no room beside those before.
void Team::start_race() {
  race_start_ = kInfinity;
  for (const Racer& racer : race_.racers) {
    const bool is_next = members_.size() > 1;
    if (is_next && race_.has_room != nullptr && !race_.has_room()) return;
    if (add(racer.name, racer.parameters).ok()) {
      listener_->log(format_text("Racing with %s\n", racer.name));
    }
  }
}

void Team::wait_for_text() {
  std::vector<pollfd> pipes;
  for (const Member& member : members_) {
    if (!member.child->is_over()) pipes.push_back({member.child->pipe(), POLLIN, 0});
  }
  const double seconds = std::max(0.0, listener_->until_beat());
  const int ready = ::poll(pipes.data(), pipes.size(), static_cast<int>(std::ceil(seconds * 1e3)));
  const bool is_interrupted = ready < 0 && errno == EINTR;
  if (is_interrupted) ::usleep(kInterruptionPauseMicroseconds);
  size_t k = 0;
  for (const Member& member : members_) {
    if (member.child->is_over()) continue;
    const bool is_readable = is_interrupted || (ready > 0 && pipes[k].revents != 0);
    ++k;
    using Pipe = ChildProcess::Pipe;
    const Pipe state = is_readable ? Pipe::kReadable : ready < 0 ? Pipe::kBroken : Pipe::kSilent;
    member.child->look(state);
  }
}

// Tells the text before each milestone, and then the milestone, whose figures are newer.
void Team::tell_events(Progress* figures) {
  while (true) {
    for (const Member& member : members_) {
      const bool is_first = &member == &members_[0];
      member.child->tell_text([&](std::string_view text) {
        if (is_first) listener_->log(text);
      });
    }
    Member* const next = next_with_milestone();
    if (next == nullptr) return;
    Milestone milestone = *next->child->next_milestone();
    next->child->pass_milestone();
    if (tell_milestone(&milestone)) *figures = milestone.progress;
  }
}

// The one that came to its next milestone first; null where none has any.
Team::Member* Team::next_with_milestone() {
  Member* first = nullptr;
  double first_time = kInfinity;
  for (Member& member : members_) {
    const Milestone* const milestone = member.child->next_milestone();
    if (milestone == nullptr || milestone->time >= first_time) continue;
    first = &member;
    first_time = milestone->time;
  }
  return first;
}

// In a race only one that betters what all have found; false of another.
bool Team::tell_milestone(Milestone* milestone) {
  const double objective = milestone->progress.objective;
  const bool is_race = members_.size() > 1;
  if (is_race && !(objective < best_milestone_)) return false;
  best_milestone_ = std::min(best_milestone_, objective);
  if (is_race) milestone->progress.bound = progress().bound;
  listener_->milestone(milestone->progress, milestone->origin, milestone->time);
  return true;
}

// In a race the point of a child whose objective is as good as the best.
void Team::pass_points() {
  if (!listener_->follows_points()) return;
  for (const Member& member : members_) {
    if (member.child->progress().objective > progress().objective) continue;
    BackendResult point;
    double violation = kInfinity;
    if (member.child->take_point(&point, &violation)) listener_->point(point, violation);
  }
}

// The first child's, in a search with the best incumbent and the best bound of all. The objectives of
// linear methods on their way cannot be compared.
Progress Team::progress() const {
  Progress all = members_[0].child->progress();
  if (!is_search_) return all;
  for (size_t k = 1; k < members_.size(); ++k) {
    const Progress other = members_[k].child->progress();
    all.objective = std::min(all.objective, other.objective);
    all.bound = std::max(all.bound, other.bound);
    all.relative_gap = std::min(all.relative_gap, other.relative_gap);
  }
  return all;
}

bool Team::is_over() const {
  return std::all_of(members_.begin(), members_.end(),
                     [](const Member& member) { return member.child->is_over(); });
}

void Team::judge(Member* member) {
  member->is_judged = true;
  member->status = member->child->leave(task_);
  if (member->status.ok()) {
    member->status = member->child->take_answer(*task_, *listener_, &member->answer);
  }
  if (members_.size() > 1 && !member->status.ok()) {
    listener_->log(
        format_text("Out of the race: %s (%s)\n", member->name, member->status.message().c_str()));
  }
}

// One that is over and has settled the model.
Team::Member* Team::find_winner() {
  for (Member& member : members_) {
    if (!member.child->is_over()) continue;
    if (!member.is_judged) judge(&member);
    if (member.status.ok() && race_.settles && race_.settles(member.answer)) return &member;
  }
  return nullptr;
}

// Of those that all are over: the first, or in a search for integer points the best point and the
// best bound with it.
Team::Member* Team::find_best() {
  Member* best = &members_[0];
  if (best->status.ok() && !is_search_) return best;
  for (Member& member : members_) {
    if (!member.status.ok()) continue;
    const double objective = member.answer.result.progress.objective;
    if (!best->status.ok() || objective < best->answer.result.progress.objective) best = &member;
  }
  for (const Member& member : members_) {
    if (!member.status.ok()) continue;
    double* const bound = &best->answer.result.progress.bound;
    *bound = std::max(*bound, member.answer.result.progress.bound);
  }
  if (best->status.ok()) take_points_of_the_dead(best);
  return best;
}

// A search that died has no answer. What it found before is not lost where another one ends with
// less.
void Team::take_points_of_the_dead(Member* best) {
  for (const Member& member : members_) {
    if (member.status.ok()) continue;
    const Progress progress = member.child->progress();
    BackendResult point;
    double violation = kInfinity;
    if (!(progress.objective < best->answer.result.progress.objective)) continue;
    if (!member.child->last_point(&point, &violation) || !std::isfinite(violation)) continue;
    best->answer.result.x = std::move(point.x);
    best->answer.result.barx = std::move(point.barx);
    best->answer.result.progress.objective = progress.objective;
    best->answer.verdict.residuals.primal = violation;
  }
}

void Team::leave_others(const Member& winner) {
  for (Member& member : members_) {
    if (&member == &winner || member.is_judged) continue;
    member.child->kill();
    static_cast<void>(member.child->leave(task_));  // its answer is not wanted
  }
}

Status Team::run(Answer* answer) {
  Status status = add(race_.first_name, task_->parameters);
  if (!status.ok()) return status;
  members_[0].answer.result = std::move(answer->result);
  Member* winner = nullptr;
  while (winner == nullptr && !is_over()) {
    // The milestones behind these figures are told before a row of the log shows them.
    Progress figures = progress();
    wait_for_text();
    tell_events(&figures);
    pass_points();
    if (may_start_race()) start_race();
    if (listener_->beat(figures)) {
      for (const Member& member : members_) {
        if (!member.child->is_over()) member.child->stop();
      }
    }
    winner = find_winner();
  }
  pass_points();
  const bool is_won = winner != nullptr;
  if (!is_won) winner = find_best();
  leave_others(*winner);
  Progress last;
  tell_events(&last);
  const std::string& rest = members_[0].child->rest_of_line();
  if (!rest.empty()) listener_->log(rest + '\n');
  if (members_.size() > 1) {
    listener_->log(
        format_text(is_won ? "The race was won by %s\n" : "The race was stopped; %s was ahead\n",
                    winner->name));
  }
  *answer = std::move(winner->answer);
  return winner->status;
}

}  // namespace

Status run_in_child(const Work& work, Task* task, Listener* listener, Answer* answer) {
  return run_race(work, Race(), task, listener, answer);
}

Status run_race(const Work& work, const Race& race, Task* task, Listener* listener,
                Answer* answer) {
  return Team(work, race, task, listener).run(answer);
}

}  // namespace vorlan
