// The keys of the document of a task, shared by its writer and its reader.
#pragma once

#include <cstdint>
#include <string_view>

namespace vorlan {

inline constexpr std::string_view kTaskFormat = "vorlan task";
// Raised with every change that a reader of the version before would not understand. A file has the
// least version that can say it.
inline constexpr int64_t kTaskVersion = 1;
inline constexpr int64_t kTaskVersionOfLogic = 2;  // special ordered sets and indicators

inline constexpr std::string_view kMinimize = "minimize";
inline constexpr std::string_view kMaximize = "maximize";

}  // namespace vorlan
