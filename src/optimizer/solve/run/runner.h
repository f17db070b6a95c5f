// Running a backend: in this process, or in a child process that can be stopped at any moment.
#pragma once

#include "solve/backend.h"
#include "solve/run/listener.h"

namespace vorlan {

// In this process and with one thread: the callback is called when the backend gives a chance, and
// a stop takes effect when the backend obeys it. What the backend prints is dropped.
Status run_here(const Backend& backend, const MinimizeProblem& problem, Task* task,
                Listener* listener, BackendResult* result);

// In a child process: see child_process.cpp.
Status run_in_child(const Backend& backend, const MinimizeProblem& problem, Task* task,
                    Listener* listener, BackendResult* result);

}  // namespace vorlan
