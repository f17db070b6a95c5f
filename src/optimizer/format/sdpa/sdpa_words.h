// The comments by which our SDPA files say what the format cannot.
#pragma once

#include <string_view>

namespace vorlan {

// The format only maximizes. A file of a minimization has the negative of the objective, and this
// among the comments at its beginning, by which our reader brings both back.
inline constexpr std::string_view kSdpaMinimize = "* Dialect: minimize";

}  // namespace vorlan
