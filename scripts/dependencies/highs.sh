# shellcheck shell=bash disable=SC2034
# Recipe: HiGHS, the solver of linear and mixed-integer problems behind the embedded optimizer.
# Debian 12 does not have it, and the development package of Debian 13 cannot be used through CMake:
# its exported target names a file in the folder where the package was built. So it is built from
# Debian's source archive on both.
# A change in this file, or in the patch beside it, gives the built copy a new place in the cache.
version=1.10.0
source_package=highs

# Constant strings in its headers are made afresh in each of 120 source files, more than 2,000 in
# all, whenever a program that links it starts: 0.3 ms of 1.5. As inline variables there is one of
# each. And its exported target must not ask for the headers of a CUDA that is not there.
#
# Presolve asks whether a continuous variable of an equation is always integer by the row's lower
# side, which is infinite where the row is an equation at its upper side only: every variable passes,
# and a worse point is called optimal. The side that counts is the one computed above the question.
#
# highs.patch says what it adds, and why.
prepare() {
  patch --strip=1 --fuzz=0 --silent <"$root/scripts/dependencies/highs.patch"
  find . -name '*.h' -exec sed -i -E 's/^const (std::)?string [A-Za-z_]+ ?=/inline &/' {} +
  sed -i '/CMAKE_CUDA_PATH.*include"/d' src/CMakeLists.txt
  local presolve=src/presolve/HPresolve.cpp
  sed -i 's/fractionality(model->row_lower_\[nz.index()\] \* scale) >$/fractionality(rowLower * scale) >/' $presolve
  [[ $(grep -c 'fractionality(rowLower \* scale) >$' $presolve) == 2 ]]
}

# Hidden symbols and one section per function keep the shared library that takes it in small; a
# position independent archive is needed to link it there. The C++ program comes along as a peer
# for the benchmarks.
cmake_options=(
  -DCMAKE_CXX_FLAGS="-fvisibility=hidden -fvisibility-inlines-hidden -ffunction-sections -fdata-sections -Wno-c++17-extensions"
  -DCMAKE_C_FLAGS="-fvisibility=hidden -ffunction-sections -fdata-sections"
  -DFAST_BUILD=ON
  -DZLIB=OFF
  -DBUILD_TESTING=OFF
  -DBUILD_EXAMPLES=OFF
)
