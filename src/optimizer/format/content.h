// The format of a problem file by its first lines, for names that do not say it: standard input,
// descriptors, files without a suffix.
#pragma once

#include <cstddef>
#include <string_view>

namespace vorlan {

// So many bytes are looked at. A longer head of comments says no more than its first one.
inline constexpr size_t kContentHead = size_t{64} << 10;

// The suffix of the format that the beginning of a content, up to kContentHead bytes of it, is of;
// empty when it is that of none.
std::string_view suffix_of_content(std::string_view head);

}  // namespace vorlan
