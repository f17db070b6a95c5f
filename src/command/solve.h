// The driver registers these two functions once, so that every "-solve" can be stopped.
#pragma once

#include <vorlan.h>

/// Handler of SIGTERM: raises the stop flag and nothing else. The process goes on; the running
/// solve is stopped at the library's next progress callback and every later one is skipped.
void sigterm_handler(int signal);

/// Progress callback: 1, which asks the library to stop, once SIGTERM has arrived or the elapsed
/// time (element 50 of douinf, seconds) is past the time limit of the last "-solve"; else 0.
int usercallback(vlntaskt* task, void* handle, VLNcallbackcode_enum code, const double* douinf,
                 const int* intinf, const long* lintinf);
