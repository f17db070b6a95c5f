# shellcheck shell=bash disable=SC2034
# Recipe: {fmt}, the formatting library of the program. Debian 12 has version 9, whose output
# differs, so version 10 is built there from the source archive of a later Debian.
# A change in this file gives the built copy a new place in the cache.
version=10.1.1
source_package=fmtlib
debian_package=libfmt-dev
packaged_since=13

cmake_options=(
  -DCMAKE_CXX_FLAGS="-fvisibility=hidden -fvisibility-inlines-hidden -ffunction-sections -fdata-sections"
  -DFMT_DOC=OFF
  -DFMT_TEST=OFF
)
