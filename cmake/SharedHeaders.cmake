# Headers that many files include, compiled once: they cost a third of a build. Files include what
# they use all the same: scripts/check reads each without this.

# Makes the target `name`, whose headers others take by target_precompile_headers(... REUSE_FROM name).
function(vorlan_share_headers name)
  set(source ${PROJECT_BINARY_DIR}/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "")  # which leaves a file alone that is there
  add_library(${name} OBJECT ${source})
  target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()

vorlan_share_headers(vorlan_shared_headers
  <algorithm> <cmath> <cstdint> <functional> <limits> <memory> <optional> <span> <string>
  <string_view> <utility> <vector>)
