# Settings that hold for every target of the project.
include(GNUInstallDirs)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

# The program finds the library beside itself, in the build folder as after installation. A RUNPATH
# (not RPATH, which would win) leaves LD_LIBRARY_PATH the say which library of this name is used.
set(CMAKE_INSTALL_LIBDIR lib)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")

# Start-up counts: few pages, few relocations, no library that nothing needs.
add_compile_options(-ffunction-sections -fdata-sections)
add_link_options(-Wl,--enable-new-dtags -Wl,--gc-sections -Wl,--as-needed -Wl,-O1
  -Wl,--hash-style=gnu)
include(CheckLinkerFlag)
check_linker_flag(CXX -Wl,-z,pack-relative-relocs VORLAN_HAS_PACKED_RELOCATIONS)
if(VORLAN_HAS_PACKED_RELOCATIONS)
  add_link_options(-Wl,-z,pack-relative-relocs)
endif()

# The C++ runtime is compiled into the program and the library: finding the symbols of the shared one
# takes a quarter of the start. The library's interface is C, and no exception crosses it, so that a
# program in C++ may have a runtime of its own beside this one. Sanitizers replace functions of the
# shared one. Systems without the static one link the shared one.
option(VORLAN_STATIC_RUNTIME "Compile the C++ runtime into the program and the library" ON)
set(VORLAN_RUNTIME_OPTIONS)
if(VORLAN_STATIC_RUNTIME AND NOT VORLAN_SANITIZE)
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_LINK_OPTIONS -static-libstdc++ -static-libgcc)
  check_cxx_source_compiles("#include <iostream>\nint main() { std::cout << 1; }"
    VORLAN_HAS_STATIC_RUNTIME)
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  if(VORLAN_HAS_STATIC_RUNTIME)
    set(VORLAN_RUNTIME_OPTIONS -static-libstdc++ -static-libgcc)
  endif()
endif()

# What reads files of strangers has the compiler's and the linker's guards: canaries on the stack,
# checked copies, tables that are read-only once the program runs, marked targets of jumps. Sanitizers
# bring guards of their own. bench/run start-up and solve hold what that costs.
option(VORLAN_HARDENING "Build with the compiler's and linker's guards" ON)
if(VORLAN_HARDENING AND NOT VORLAN_SANITIZE)
  add_compile_options(-fstack-protector-strong -fcf-protection)
  if(CMAKE_BUILD_TYPE MATCHES "^Rel")
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()

if(VORLAN_SANITIZE)
  add_compile_options(-fsanitize=${VORLAN_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VORLAN_SANITIZE})
endif()
