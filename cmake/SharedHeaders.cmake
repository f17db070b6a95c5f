# The standard headers that nearly every file includes, compiled once: they cost a third of a build.
# Files include what they use all the same: scripts/check reads each without this.
file(WRITE ${PROJECT_BINARY_DIR}/shared_headers.cpp "")
add_library(vorlan_shared_headers OBJECT ${PROJECT_BINARY_DIR}/shared_headers.cpp)
target_precompile_headers(vorlan_shared_headers PRIVATE
  <algorithm> <cmath> <cstdint> <functional> <limits> <memory> <optional> <span> <string>
  <string_view> <utility> <vector>)
