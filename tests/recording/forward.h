// forward.h - the forwarding mode: with VORLAN_FORWARD naming a real library of the same interface,
// every call is handed on to it and recorded with its arguments and its result.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "operations.h"

namespace recording {

bool is_forwarding();

// The real library's operation.
void* real_operation(OperationId id);

// Record a call in two pieces of one line, before and after it, so that the call in which the real
// library dies is the last of the trace: "VLN_getnumvar(task, out)" and " = 0 numvar=2".
void record_begin(OperationId id, const std::vector<Argument>& arguments, std::string_view more);
void record_end(const std::vector<Argument>& arguments, VLNrescode_enum code);

// The trace of all modes.
void record_piece(const std::string& text);
inline void record_line(const std::string& text) { record_piece(text + '\n'); }

}  // namespace recording
