# The target vorlan64 where the optimizer is not built: a library of the same name and interface,
# made from include/vorlan.h, that the program links against. Each operation fails. It is not
# installed: whoever builds this way brings the library to run with.
set(header ${PROJECT_SOURCE_DIR}/include/vorlan.h)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
file(READ ${header} text)
string(REGEX MATCHALL "VLN_API VLNrescode_enum VLN_[a-z_]+\\([^;]*\\)" operations "${text}")
list(LENGTH operations count)
if(count EQUAL 0)
  message(FATAL_ERROR "no operation found in ${header}")
endif()

set(stub "// Made from include/vorlan.h: each operation fails with response code 1.\n")
string(APPEND stub "#include <vorlan.h>\n")
string(APPEND stub "static const VLNrescode_enum kNoOptimizer = static_cast<VLNrescode_enum>(1);\n")
string(APPEND stub "extern \"C\" {\n")
foreach(operation IN LISTS operations)
  string(APPEND stub "${operation} { return kNoOptimizer; }\n")
endforeach()
string(APPEND stub "}\n")
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/stub/stub.cpp CONTENT "${stub}" @ONLY)

add_library(vorlan64 SHARED ${PROJECT_BINARY_DIR}/stub/stub.cpp)
target_link_libraries(vorlan64 PUBLIC vorlan_interface)
