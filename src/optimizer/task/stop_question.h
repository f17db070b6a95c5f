// Asks whether the caller of an operation wants it to end, by the progress callback or by a limit.
// What waits for others in the middle of a solve asks this; an empty question lets it wait for ever.
#pragma once

#include <functional>

namespace vorlan {

using StopQuestion = std::function<bool()>;

}  // namespace vorlan
