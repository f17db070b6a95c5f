// Running the work of a solve: in this process, or in a child process that can be stopped at any
// moment.
#pragma once

#include <functional>

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

}  // namespace vorlan
