// Races of child processes, with work that ends as each case asks for: what a racer does is told by
// its random seed.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "scratch_folder.h"
#include "solve/choose_backend.h"
#include "solve/choose_race.h"
#include "solve/crossover_backend.h"
#include "solve/run/runner.h"
#include "solve/solve_log.h"
#include "task/machine.h"
#include "task/numeric.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

enum Way : int32_t { kSettle, kHang, kGiveUp, kDie, kFail, kSearch, kFindAndDie };

// What both children see: the first one's end waits for the racer, and the racer's for that.
struct Meeting {
  std::atomic<bool> racer_waits = false;
  std::atomic<bool> racer_is_there = false;
  std::atomic<bool> first_ends = false;
};
Meeting* g_meeting = nullptr;

// The point tells who made it.
constexpr double kFirst = 1.0;
constexpr double kRacer = 2.0;

Status follow(const Parameters& parameters, BackendMonitor* monitor, Answer* answer) {
  BackendResult& result = answer->result;
  const bool is_racer = parameters.is_on(IntParam::kScaling);
  result.x = {is_racer ? kRacer : kFirst};
  result.outcome = Outcome::kOptimal;
  const auto way = static_cast<Way>(parameters.get(IntParam::kRandomSeed));
  const bool first_ends = way == kDie || way == kFail || way == kGiveUp || way == kFindAndDie;
  if (is_racer) {
    g_meeting->racer_is_there = true;
    while (g_meeting->racer_waits && !g_meeting->first_ends) usleep(1000);
  } else if (first_ends) {
    while (!g_meeting->racer_is_there) usleep(1000);
    g_meeting->first_ends = true;
  }
  switch (way) {
    case kHang:
      while (true) pause();
    case kGiveUp:
      result.outcome = Outcome::kStopped;
      result.termination = Code::kTrmStall;
      break;
    case kDie:
      raise(SIGKILL);
      break;
    case kFail:
      return {Code::kErrOptimizer, "no luck"};
    case kFindAndDie:
      result.progress.objective = 7.0;
      monitor->keep(result, 0.0);
      static_cast<void>(monitor->should_stop(result.progress));
      raise(SIGKILL);
      break;
    case kSearch: {
      // The racer has the better point, the first search the better bound.
      Progress& progress = result.progress;
      progress.objective = is_racer ? 10.0 : 12.0;
      progress.bound = is_racer ? 3.0 : 5.0;
      while (!monitor->should_stop(progress)) usleep(1000);
      result.outcome = Outcome::kStopped;
      break;
    }
    default:
      break;
  }
  return {};
}

int stop_at_call_20(vlntaskt*, void* calls, VLNcallbackcode_enum, const double*, const int*,
                    const long*) {
  return ++*static_cast<int*>(calls) >= 20;
}

class RaceOfChildren : public testing::Test {
 protected:
  RaceOfChildren() {
    task_.model.cost = {1.0};
    task_.log.link_function(
        &log_, [](void* log, const char* text) { *static_cast<std::string*>(log) += text; });
    race_.first_name = "the first";
    race_.settles = [](const Answer& answer) { return answer.result.outcome == Outcome::kOptimal; };
  }

  Status run(Way first, Way racer) {
    void* const shared =
        mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(shared, MAP_FAILED);
    g_meeting = new (shared) Meeting;
    g_meeting->racer_waits =
        first == kDie || first == kFail || first == kGiveUp || first == kFindAndDie;
    task_.parameters.set(IntParam::kScaling, 0);
    task_.parameters.set(IntParam::kRandomSeed, first);
    race_.racers = {{"the racer", task_.parameters}};
    race_.racers[0].parameters.set(IntParam::kScaling, 1);
    race_.racers[0].parameters.set(IntParam::kRandomSeed, racer);
    Listener listener(&task_);
    const Work work = [](const Parameters& parameters, double, BackendMonitor* monitor,
                         Answer* answer) { return follow(parameters, monitor, answer); };
    const Status status = run_race(work, race_, &task_, &listener, &answer_);
    munmap(shared, sizeof(Meeting));
    return status;
  }

  double maker() const { return answer_.result.x.empty() ? 0.0 : answer_.result.x[0]; }
  bool logs(const char* text) const { return log_.find(text) != std::string::npos; }

  vlntaskt task_;
  Race race_;
  Answer answer_;
  std::string log_;
};

TEST_F(RaceOfChildren, TheFirstSettledAnswerEndsIt) {
  ASSERT_TRUE(run(kHang, kSettle).ok());
  EXPECT_EQ(maker(), kRacer);
  EXPECT_TRUE(logs("The race was won by the racer")) << log_;
}

TEST_F(RaceOfChildren, NobodyIsAddedWithinTheHeadStart) {
  race_.head_start = 1e6;
  ASSERT_TRUE(run(kSettle, kHang).ok());
  EXPECT_EQ(maker(), kFirst);
  EXPECT_FALSE(logs("Racing")) << log_;
}

TEST_F(RaceOfChildren, WaitsForRoomTwiceAsLongEachTime) {
  race_.head_start = 1e-3;
  int asked = 0;
  race_.has_room = [&] { return ++asked == 4; };
  ASSERT_TRUE(run(kHang, kSettle).ok());
  EXPECT_EQ(asked, 4);
  EXPECT_EQ(maker(), kRacer);
}

TEST_F(RaceOfChildren, ARacersDeathOrFailureIsNotTheSolves) {
  for (const Way way : {kDie, kFail, kGiveUp}) {
    int calls = 0;
    task_.callback = {stop_at_call_20, &calls};
    log_.clear();
    ASSERT_TRUE(run(kSearch, way).ok()) << way;
    EXPECT_EQ(maker(), kFirst) << way;
    EXPECT_EQ(answer_.result.termination, Code::kTrmUserCallback) << way;
    EXPECT_EQ(logs("Out of the race: the racer"), way != kGiveUp) << log_;
    EXPECT_EQ(logs("by signal 9"), way == kDie) << log_;
    EXPECT_EQ(logs("no luck"), way == kFail) << log_;
  }
}

TEST_F(RaceOfChildren, WhoCannotBeStartedIsDoneWithout) {
  int calls = 0;
  task_.callback = {stop_at_call_20, &calls};
  rlimit descriptors{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
  race_.has_room = [&] {
    const rlimit none = {0, descriptors.rlim_max};
    return setrlimit(RLIMIT_NOFILE, &none) == 0;
  };
  const Status status = run(kSearch, kSettle);
  setrlimit(RLIMIT_NOFILE, &descriptors);
  ASSERT_TRUE(status.ok()) << status.message();
  EXPECT_EQ(maker(), kFirst);
  EXPECT_FALSE(logs("Racing")) << log_;
}

TEST_F(RaceOfChildren, ThePointOfASearchThatDiedIsNotLost) {
  task_.model.var_kind = {VarKind::kInteger};
  for (const bool first_dies : {true, false}) {
    int calls = 0;
    task_.callback = {stop_at_call_20, &calls};
    ASSERT_TRUE(first_dies ? run(kFindAndDie, kSearch).ok() : run(kSearch, kFindAndDie).ok());
    EXPECT_EQ(maker(), first_dies ? kFirst : kRacer);
    EXPECT_EQ(answer_.result.progress.objective, 7.0);
    EXPECT_EQ(answer_.verdict.residuals.primal, 0.0);
    EXPECT_EQ(answer_.result.outcome, Outcome::kStopped);
  }
}

TEST_F(RaceOfChildren, TheFirstOnesFailureIsBorne) {
  for (const Way way : {kDie, kFail, kGiveUp}) {
    ASSERT_TRUE(run(way, kSettle).ok()) << way;
    EXPECT_EQ(maker(), kRacer) << way;
  }
}

TEST_F(RaceOfChildren, AStopKeepsTheBestPointAndTheBestBound) {
  task_.model.var_kind = {VarKind::kInteger};
  int calls = 0;
  task_.callback = {stop_at_call_20, &calls};
  ASSERT_TRUE(run(kSearch, kSearch).ok());
  EXPECT_EQ(maker(), kRacer);
  EXPECT_EQ(answer_.result.progress.objective, 10.0);
  EXPECT_EQ(answer_.result.progress.bound, 5.0);
  EXPECT_TRUE(logs("The race was stopped; the racer was ahead")) << log_;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// The children of one race have the pipes of the others, which another thread made at the same time.
// A sanitizer's allocator may be locked by another thread at the moment of a fork.
TEST(RacesInThreads, AreEachOthersStrangers) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 10;
  const Work work = [](const Parameters& parameters, double, BackendMonitor*, Answer* answer) {
    while (!parameters.is_on(IntParam::kScaling)) pause();
    answer->result.outcome = Outcome::kOptimal;
    return Status();
  };
  std::atomic<int> num_won = 0;
  const auto run_races = [&] {
    for (int round = 0; round < kRounds; ++round) {
      vlntaskt task;
      task.model.cost = {1.0};
      task.parameters.set(IntParam::kScaling, 0);
      Race race;
      race.racers = {{"the racer", task.parameters}};
      race.racers[0].parameters.set(IntParam::kScaling, 1);
      race.settles = [](const Answer&) { return true; };
      Listener listener(&task);
      Answer answer;
      const Status status = run_race(work, race, &task, &listener, &answer);
      if (status.ok() && answer.result.outcome == Outcome::kOptimal) ++num_won;
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(run_races);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(num_won, kThreads * kRounds);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}
#endif

class ChoiceOfRace : public testing::Test {
 protected:
  // The machine may have one processor: the threads are asked for.
  ChoiceOfRace() { parameters_.set(IntParam::kNumThreads, 2); }

  // A row of so many elements.
  static Model row_of(int32_t length, VarKind kind) {
    Model model;
    const auto size = static_cast<size_t>(length);
    model.cost.assign(size, 1.0);
    model.var_lower.assign(size, 0.0);
    model.var_upper.assign(size, 1.0);
    model.var_kind.assign(size, kind);
    model.con_lower = {1.0};
    model.con_upper = {kInfinity};
    model.matrix.row.assign(size, 0);
    model.matrix.value.assign(size, 1.0);
    for (int32_t j = 1; j <= length; ++j) model.matrix.start.push_back(j);
    return model;
  }

  Race race_of(const Model& model, const Solution* start = nullptr) const {
    const SolvePlan plan = choose_backend(model, parameters_);
    return choose_race(MinimizeProblem(model, start, plan.cutoffs), plan, parameters_);
  }

  Parameters parameters_;
  Model linear_ = row_of(10000, VarKind::kContinuous);
  Model integer_ = row_of(10000, VarKind::kInteger);
};

TEST_F(ChoiceOfRace, IsForLargeModelsAndFreeSolves) {
  EXPECT_EQ(race_of(linear_).racers.size(), 1U);
  EXPECT_EQ(race_of(integer_).racers.size(), 1U);
  EXPECT_TRUE(race_of(row_of(100, VarKind::kContinuous)).racers.empty());
  const Solution start;
  EXPECT_TRUE(race_of(linear_, &start).racers.empty());

  const Parameters free = parameters_;
  for (const char* file :
       {"VLN_SPAR_START_FILE", "VLN_SPAR_BASIS_IN_FILE", "VLN_SPAR_BRANCHING_PRIORITY_FILE"}) {
    parameters_ = free;
    ASSERT_TRUE(parameters_.put_by_name(file, "pipe").ok());
    EXPECT_TRUE(race_of(linear_).racers.empty()) << file;
    EXPECT_TRUE(race_of(integer_).racers.empty()) << file;
  }
  for (const auto& [param, value] : {std::pair{IntParam::kReproducible, 1},
                                     {IntParam::kNumThreads, 1},
                                     {IntParam::kOptimizer, kInteriorPoint},
                                     {IntParam::kMipEmphasis, kEmphasizeProof},
                                     {IntParam::kMipNodeLimit, 100},
                                     {IntParam::kChildProcess, 0}}) {
    parameters_ = free;
    parameters_.set(param, value);
    EXPECT_TRUE(race_of(linear_).racers.empty()) << name_of(param);
    EXPECT_TRUE(race_of(integer_).racers.empty()) << name_of(param);
  }
}

TEST_F(ChoiceOfRace, HasTheConicMethodAsTheThirdOfLinearModels) {
  parameters_.set(IntParam::kNumThreads, 3);
  EXPECT_EQ(race_of(integer_).racers.size(), 1U);
  const Race race = race_of(linear_);
  ASSERT_EQ(race.racers.size(), 2U);
  const SolvePlan plan = choose_backend(linear_, parameters_);
  EXPECT_EQ(plan_of_racer(plan, parameters_).backend, plan.backend);
  EXPECT_EQ(plan_of_racer(plan, race.racers[0].parameters).backend, plan.backend);
  EXPECT_EQ(plan_of_racer(plan, race.racers[1].parameters).backend, &kCrossoverBackend);
  EXPECT_EQ(race.racers[1].parameters.get(IntParam::kNumThreads), 1);
}

// Rows and columns of few elements are the simplex method's, which then runs alone for longer.
TEST_F(ChoiceOfRace, BeginsSoonWhereRowsAndColumnsAreFull) {
  Model full = row_of(1000, VarKind::kContinuous);
  full.con_lower.assign(1000, 1.0);
  full.con_upper.assign(1000, kInfinity);
  full.matrix = {};
  for (int32_t j = 0; j < 1000; ++j) {
    for (int32_t k = 0; k < 100; ++k) {
      full.matrix.row.push_back((j + 7 * k) % 1000);
      full.matrix.value.push_back(1.0);
    }
    full.matrix.start.push_back(100 * (j + 1));
  }
  Model sparse = full;
  const size_t num_wide = 50000;  // the same elements in columns of two
  sparse.cost.assign(num_wide, 1.0);
  sparse.var_lower.assign(num_wide, 0.0);
  sparse.var_upper.assign(num_wide, 1.0);
  sparse.var_kind.assign(num_wide, VarKind::kContinuous);
  sparse.matrix.start = {0};
  for (size_t j = 1; j <= num_wide; ++j) {
    sparse.matrix.start.push_back(static_cast<int64_t>(2 * j));
  }
  ASSERT_EQ(race_of(full).racers.size(), 1U);
  ASSERT_EQ(race_of(sparse).racers.size(), 1U);
  EXPECT_LE(2.0 * race_of(full).head_start, race_of(sparse).head_start);
  const Race least = race_of(row_of(5000, VarKind::kContinuous));
  EXPECT_GT(least.head_start, 0.0) << "what is solved at once is not raced";
}

// Few elements can be many nodes: what is solved at once ends before a race begins.
TEST_F(ChoiceOfRace, IsForIntegersOfAnySize) {
  Model model = row_of(10, VarKind::kInteger);
  ASSERT_EQ(race_of(model).racers.size(), 1U);
  EXPECT_FALSE(race_of(model).racers[0].parameters.is_on(IntParam::kMipRestart));
  for (const int32_t seed : {0, kIntMax}) {
    parameters_.set(IntParam::kRandomSeed, seed);
    EXPECT_NE(race_of(model).racers[0].parameters.get(IntParam::kRandomSeed), seed);
  }
  model.cones = {Cone{ConeKind::kQuadratic, {0, 1}, {}}};
  const Race race = race_of(model);
  ASSERT_EQ(race.racers.size(), 1U);
  EXPECT_GT(race.head_start, 0.0);
  const Parameters& other = race.racers[0].parameters;
  EXPECT_NE(other.get(IntParam::kRandomSeed), parameters_.get(IntParam::kRandomSeed));
  for (const auto& [param, value] :
       {std::pair{IntParam::kReproducible, 1}, {IntParam::kNumThreads, 1}}) {
    const Parameters free = parameters_;
    parameters_.set(param, value);
    EXPECT_TRUE(race_of(model).racers.empty()) << name_of(param);
    parameters_ = free;
  }
}

TEST_F(ChoiceOfRace, TheHeaderCountsTheThreadsOfRacers) {
  vlntaskt task;
  task.model = linear_;
  task.parameters = parameters_;
  std::string log;
  task.log.link_function(
      &log, [](void* text, const char* more) { *static_cast<std::string*>(text) += more; });
  const SolvePlan plan = choose_backend(task.model, task.parameters);
  log_start(task, plan, race_of(linear_).racers.size());
  EXPECT_NE(log.find(", 1 thread, 2 in a race\n"), std::string::npos) << log;
  log.clear();
  log_start(task, plan, 0);
  EXPECT_NE(log.find(", 1 thread\n"), std::string::npos) << log;
}

TEST_F(ChoiceOfRace, AnAnswerThatFailedItsCheckSettlesNothing) {
  const Race race = race_of(linear_);
  Answer answer;
  answer.result.outcome = Outcome::kOptimal;
  answer.verdict.residuals = {0.0, 0.0, 0.0};
  EXPECT_TRUE(race.settles(answer));
  answer.verdict.residuals.primal = 1.0;
  EXPECT_FALSE(race.settles(answer));
  answer.result.outcome = Outcome::kInfeasible;
  answer.verdict.ray_holds = false;
  EXPECT_FALSE(race.settles(answer));
  answer.verdict.ray_holds = true;
  EXPECT_TRUE(race.settles(answer));
}

// One processor of several is none for a racer, whatever the machine has. Every method asks for it
// in the same way: the threads of a search, those of the conic method, the racers.
TEST_F(ChoiceOfRace, TakesWhatTheAffinityLeaves) {
  parameters_.set(IntParam::kNumThreads, 0);
  Model outer = row_of(10, VarKind::kInteger);
  outer.cones = {Cone{ConeKind::kQuadratic, {0, 1}, {}}};
  cpu_set_t all;
  ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
  cpu_set_t some;
  CPU_ZERO(&some);
  int32_t num_left = 0;
  for (int processor = 0; processor < CPU_SETSIZE && num_left < 2; ++processor) {
    if (!CPU_ISSET(processor, &all)) continue;
    CPU_SET(processor, &some);
    ASSERT_EQ(sched_setaffinity(0, sizeof some, &some), 0);
    ++num_left;
    EXPECT_LE(usable_processors(), num_left);
    EXPECT_EQ(continuous_threads(0), usable_processors());
    EXPECT_EQ(search_threads(0), 1);
    EXPECT_EQ(continuous_threads(3), 3) << "what is asked for counts";
    EXPECT_EQ(search_threads(3), 3);
    const size_t num_racers = usable_processors() > 1 ? 1 : 0;
    for (const Model& model : {linear_, integer_, outer}) {
      EXPECT_EQ(race_of(model).racers.size(), num_racers);
    }
  }
  sched_setaffinity(0, sizeof all, &all);
}

// A folder with files as the system has them.
class GroupsOnDisk : public testing::Test {
 protected:
  void put(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(folder_.path(name)).parent_path());
    folder_.write(name, text);
  }

  test::ScratchFolder folder_;
  ControlGroups groups_ = {folder_.path("list"), folder_.path("root")};
};

TEST_F(GroupsOnDisk, NoneLimitNothing) {
  EXPECT_EQ(processor_quota(groups_), kInfinity);
  EXPECT_EQ(memory_within_limits(groups_), kInfinity);
  put("list", "0::/\n");
  put("root/cpu.max", "max 100000\n");
  put("root/memory.max", "max\n");
  put("root/memory.current", "1000\n");
  EXPECT_EQ(processor_quota(groups_), kInfinity);
  EXPECT_EQ(memory_within_limits(groups_), kInfinity);
}

// A container sees its own group as the root.
TEST_F(GroupsOnDisk, TheRootsLimitsCount) {
  put("root/cpu.max", "150000 100000\n");
  put("root/memory.max", "5000\n");
  put("root/memory.current", "1000\n");
  EXPECT_EQ(processor_quota(groups_), 1.5);
  EXPECT_EQ(memory_within_limits(groups_), 4000.0);
}

TEST_F(GroupsOnDisk, EveryGroupAboveHasASay) {
  put("list", "0::/jobs.slice/job:7/step\n");
  put("root/jobs.slice/job:7/step/cpu.max", "max 100000\n");
  put("root/jobs.slice/job:7/cpu.max", "200000 100000\n");
  put("root/jobs.slice/cpu.max", "6400000 100000\n");
  put("root/jobs.slice/memory.max", "3000\n");
  put("root/jobs.slice/memory.current", "5000\n");
  EXPECT_EQ(processor_quota(groups_), 2.0);
  EXPECT_EQ(memory_within_limits(groups_), 0.0) << "beyond its limit a group has nothing left";
}

TEST_F(GroupsOnDisk, TheFirstVersionHasAFolderForEachController) {
  put("list", "4:memory:/jobs/1\n2:cpu,cpuacct:/jobs/2\n1:name=systemd:/jobs/3\n0::/\n");
  put("root/cpu/cpu.cfs_quota_us", "-1\n");
  put("root/cpu/cpu.cfs_period_us", "100000\n");
  EXPECT_EQ(processor_quota(groups_), kInfinity);
  put("root/cpu/jobs/2/cpu.cfs_quota_us", "300000\n");
  put("root/cpu/jobs/2/cpu.cfs_period_us", "100000\n");
  put("root/memory/jobs/1/memory.limit_in_bytes", "9000\n");
  put("root/memory/jobs/1/memory.usage_in_bytes", "2000\n");
  EXPECT_EQ(processor_quota(groups_), 3.0);
  EXPECT_EQ(memory_within_limits(groups_), 7000.0);
}

TEST(Machine, GivesSomething) {
  EXPECT_GE(usable_processors(), 1);
  EXPECT_LE(usable_processors(), sysconf(_SC_NPROCESSORS_CONF));
  const double memory =
      static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
  EXPECT_GT(available_memory(), 0.0);
  EXPECT_LT(available_memory(), memory);
  EXPECT_GT(resident_memory(), 0.0);
  EXPECT_LT(resident_memory(), memory);
}

}  // namespace
}  // namespace vorlan
