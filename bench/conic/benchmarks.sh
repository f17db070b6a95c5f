# shellcheck shell=bash disable=SC2154
# The benchmarks of the conic method; read by bench/run, whose functions and variables they use.

# Second-order cones in a chain: the time of an iteration may grow hardly more than the model.
bench_growth() {
  build release OFF bench_path_growth
  local _ iterations small large
  heading "Shortest path through boxes, three fifths of the variables in cones" ms/iter.
  read -r _ iterations small < <("$bin/bench_path_growth" 1000 21)
  line "1,000 variables" "$small"
  read -r _ iterations large < <("$bin/bench_path_growth" 10000 9)
  compared "10,000 variables" "$large" "$small" 15
  small=$large
  read -r _ iterations large < <("$bin/bench_path_growth" 100000 3)
  compared "100,000 variables" "$large" "$small" 15
  line "100,000 variables: iterations" "$iterations"
}

bench_quadratic() {
  "$root/scripts/setup" bench
  configure_for release bench_beside_ipopt
  build release OFF bench_beside_ipopt
  local size ours theirs
  heading "Smoothed series: a quadratic program in memory, solve alone" s
  for size in "1000 9" "10000 3" "100000 1"; do
    # shellcheck disable=SC2086
    read -r ours theirs < <("$bin/bench_beside_ipopt" $size)
    line "Ipopt, ${size% *} variables" "$theirs"
    compared "vorlan, ${size% *} variables" "$ours" "$theirs" 0.5
  done
}

# Whole processes on the semidefinite instances of VORLAN_DATA, one thread each, both with the kernels that
# OpenBLAS chooses by the processor's features.
bench_semidefinite() {
  if [[ ! -r $data/expected.tsv ]]; then
    note "semidefinite: VORLAN_DATA names no folder with an expected.tsv; left out"
    return
  fi
  "$root/scripts/setup" test
  build release OFF vorlancli bench_interleave bench_peak_memory
  export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1 OPENBLAS_CORETYPE=''
  local class status optimum tolerance
  while IFS=$'\t' read -r file class _ status optimum tolerance _; do
    [[ $class == sdp && $status == optimal ]] || continue
    gzip -dc -- "$data/$file" >model.dat-s
    measure_semidefinite "$optimum" "$tolerance" >>semidefinite.tsv ||
      missing "semidefinite: $file is left out"
  done <"$data/expected.tsv"
  local count ours theirs
  [[ -s semidefinite.tsv ]] || return 0
  read -r count ours theirs < <(awk '
    { ++n; a += log($2); b += log($3) }
    END { printf "%d %.1f %.1f\n", n, exp(a / n), exp(b / n) }' semidefinite.tsv)
  heading "Read, solve, write: semidefinite instances (geometric means)" ms
  line "instances measured" "$count"
  line "csdp" "$theirs"
  compared "vorlancli -read -solve -write-solution" "$ours" "$theirs" 1.2
  compare_semidefinite_memory
}

# Shorter runs cannot be looked at often enough.
compare_semidefinite_memory() {
  local count ours theirs
  read -r count ours theirs < <(awk '
    $3 >= 300 { ++n; a += log($4); b += log($5) }
    END { printf "%d", n; if (n) printf " %.1f %.1f", exp(a / n), exp(b / n); print "" }' semidefinite.tsv)
  ((count)) || return 0
  heading "Peak memory (PSS) of all processes, semidefinite instances from 0.3 s on (geometric means)" MiB
  line "instances measured" "$count"
  line "csdp" "$theirs"
  compared "vorlancli with its child process" "$ours" "$theirs" 1.3
}

# measure_semidefinite OPTIMUM TOLERANCE: a line with name, our milliseconds, those of csdp, and the peak
# memory of both. An instance without the right answer has no line and gives status 1.
measure_semidefinite() {
  local ours=("$bin/vorlancli" -read model.dat-s -d VLN_IPAR_NUM_THREADS 1 -solve -write-solution ours.plain) begin rounds
  begin=$(date +%s.%N)
  "${ours[@]}" 2>/dev/null || { note "vorlancli ends with status $? on $file" && return 1; }
  rounds=$(awk -v a="$begin" -v b="$(date +%s.%N)" 'BEGIN { s = b - a; print s < 0.5 ? 7 : s < 3 ? 3 : 1 }')
  check_objective "$1" "$2" || return 1
  # Its status 3 is an optimum of lower accuracy.
  interleaved "$rounds" "${ours[@]}" -- sh -c 'csdp model.dat-s csdp.txt || [ $? -eq 3 ]' || return 1
  printf '%s %s %s %s %s\n' "$file" "${medians[@]}" \
    "$("$bin/bench_peak_memory" "${ours[@]}")" "$("$bin/bench_peak_memory" csdp model.dat-s csdp.txt)"
}
