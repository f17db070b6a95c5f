# The target vorlan_warnings: link it PRIVATE to have the project's warnings; in dev builds
# (VORLAN_WERROR) they are errors.
add_library(vorlan_warnings INTERFACE)
target_compile_options(vorlan_warnings INTERFACE
  -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${VORLAN_WERROR}>:-Werror>)
# GCC 12 sees overlapping copies in inlined std::string operations where there are none (its bug
# 105651, mended in 13).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(vorlan_warnings INTERFACE -Wno-restrict)
endif()
