#!/usr/bin/env bash
# Runs a test program once with each family of OpenBLAS kernels that this machine can run. Results
# differ in their last bits between them, and older kernels read past the end of vectors.
# Usage: each_kernel.sh PROGRAM [ARGUMENTS]
set -u

failed=0

try() {
  echo "== $1"
  kernels=$1
  shift
  OPENBLAS_CORETYPE=$kernels "$@" || failed=1
}

has() { grep -q -w "$1" /proc/cpuinfo; }

try PRESCOTT "$@"
if has avx2 && has fma; then try HASWELL "$@"; fi
if has avx512f && has avx512dq && has avx512bw && has avx512vl; then try SKYLAKEX "$@"; fi
exit $failed
