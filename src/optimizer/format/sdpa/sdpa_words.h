// What SDPA files of ours say in a comment.
#pragma once

#include <string_view>

namespace vorlan {

// The format only maximizes. A file of a minimization has the negative of the objective, and this
// among the comments at its beginning, by which our reader brings both back.
inline constexpr std::string_view kSdpaMinimize = "* Dialect: minimize";

}  // namespace vorlan
