// Running the work of a solve: in this process, or in a child process that can be stopped at any
// moment.
#pragma once

#include <functional>
#include <vector>

#include "solve/backend.h"
#include "solve/run/listener.h"

namespace vorlan {

// All of a solve that can last: looking at what is held, the backend, the checker. It leaves an
// answer that is checked, within the seconds given.
using Work = std::function<Status(const Parameters& parameters, double seconds,
                                  BackendMonitor* monitor, Answer* answer)>;

// In this process and with one thread: the callback is called when the work gives a chance, and a
// stop takes effect when the work obeys it. Nothing of the process is changed: what a backend
// prints, it prints.
Status run_here(const Work& work, Task* task, Listener* listener, Answer* answer);

// In a child process: see child_process.cpp. Where the child had to be killed, the answer is the
// last point that it kept, or, where it kept none, the point that the answer brought.
Status run_in_child(const Work& work, Task* task, Listener* listener, Answer* answer);

// Another way to do the same work. The name is for the log: "the simplex method".
struct Racer {
  const char* name;
  Parameters parameters;
};

// Those who join the child that goes the task's own way, once it has had its head start.
struct Race {
  const char* first_name = "";
  double head_start = 0.0;  // seconds
  // Whether the machine has room for the racers now. Without room the question is put again when
  // twice the time has passed. A function that is not there stands for room.
  std::function<bool()> has_room;
  std::vector<Racer> racers;
  // True for an answer that ends the race.
  std::function<bool(const Answer&)> settles;
};

// In several child processes; without racers in one.
Status run_race(const Work& work, const Race& race, Task* task, Listener* listener, Answer* answer);

}  // namespace vorlan
