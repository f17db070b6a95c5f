# shellcheck shell=bash disable=SC2154
# The benchmark of problem files; read by bench/run, whose functions and variables it uses. All times
# are processor times of whole processes; a writer's is that of its writing alone.

bench_formats() {
  "$root/scripts/setup" bench
  build release OFF bench_interleave bench_large_model bench_model_files bench_highs_files
  ours=$bin/bench_model_files
  theirs=$bin/bench_highs_files
  formats_of "5 million elements, short names" 5000000 short
  formats_of "1.5 million elements, long names" 1500000 long
  formats_entries
  formats_lp_writing
  formats_growth
}

# formats_of LABEL NONZEROS NAMES
formats_of() {
  "$bin/bench_large_model" "$2" "$3" >model.mps
  local suffix
  for suffix in lp ptf cbf jtask task; do "$ours" write model.mps model.$suffix >/dev/null; done
  "$ours" bare model.mps model.bare
  gzip -k model.mps
  zstd -qk model.mps

  heading "Reading, $1" ms
  processor_times "$ours" read model.mps -- cbc model.mps -quit -- "$theirs" read model.mps
  compared "MPS, beside cbc" "${medians[0]}" "${medians[1]}" 1
  compared "MPS, beside HiGHS" "${medians[0]}" "${medians[2]}" 0.25
  processor_times "$ours" read model.lp -- "$theirs" read model.lp
  compared "LP, beside HiGHS" "${medians[0]}" "${medians[1]}" 0.2
  processor_times "$ours" read model.task -- "$ours" floor model.bare
  compared "task, beside its bare arrays" "${medians[0]}" "${medians[1]}" 2
  formats_compressed gz gzip
  formats_compressed zst zstd

  heading "Writing, $1" ms
  formats_writing mps MPS

  formats_memory "$1" mps lp ptf cbf jtask task
  rm -f model.* written.*
}

# formats_memory LABEL SUFFIX...
formats_memory() {
  heading "Peak memory of reading beside the model, $1" MiB
  local suffix model peak
  for suffix in "${@:2}"; do
    read -r model peak < <("$ours" memory "model.$suffix")
    compared ".$suffix" "$peak" "$model" 2.5
  done
}

# Models that are mostly quadratic terms, or elements of matrices at matrix variables: two million.
formats_entries() {
  local suffix
  awk 'BEGIN {
    print "NAME Q FREE\nROWS\n N COST\n L R\nCOLUMNS"
    for (j = 0; j < 200000; ++j) print " x" j " COST 1 R 1"
    print "RHS\n RHS R 1\nQUADOBJ"
    for (j = 0; j < 200000; ++j) for (k = j; k < j + 10 && k < 200000; ++k) print " x" j, "x" k, 0.1 + k % 97
    print "ENDATA" }' >model.mps
  for suffix in lp ptf jtask task; do "$ours" write model.mps model.$suffix >/dev/null; done
  formats_memory "2 million quadratic terms" mps lp ptf jtask task
  rm -f model.*
  awk 'BEGIN {
    print "20000\n1\n500"
    for (i = 1; i <= 20000; ++i) print i % 7
    for (i = 1; i <= 20000; ++i) for (k = 0; k < 100; ++k) print i, 1, 1 + 4 * k, 1 + 4 * k + i % 97, 0.1 + k
  }' >model.dat-s
  for suffix in cbf ptf jtask task; do "$ours" write model.dat-s model.$suffix >/dev/null; done
  formats_memory "2 million elements of matrices" dat-s cbf ptf jtask task
  rm -f model.*
}

# processor_times COMMAND...: sets medians as interleaved does.
processor_times() {
  local output
  output=$("$bin/bench_interleave" 3 "$@")
  mapfile -t medians < <(awk '{ print $5 }' <<<"$output")
}

# formats_compressed SUFFIX PROGRAM: reading beside unpacking and reading one after the other.
formats_compressed() {
  processor_times "$ours" read "model.mps.$1" -- "$ours" read model.mps -- "$2" -dc "model.mps.$1"
  compared "MPS.$1, beside $2 -d and MPS" "${medians[0]}" \
    "$(awk -v a="${medians[1]}" -v b="${medians[2]}" 'BEGIN { print a + b }')" 1.3
}

# formats_writing SUFFIX LABEL: in turn, three times.
formats_writing() {
  local _
  rm -f times.ours times.theirs
  for _ in 1 2 3; do
    "$ours" write model.task "written.$1" >>times.ours
    "$theirs" write model.mps "written.$1" >>times.theirs
  done
  compared "$2, beside HiGHS" "$(sort -n times.ours | sed -n 2p)" \
    "$(sort -n times.theirs | sed -n 2p)" 0.667
}

# The time HiGHS needs to write an LP file grows with the square of the size (at 5 million elements it
# is an hour), so that the model is a small one.
formats_lp_writing() {
  "$bin/bench_large_model" 200000 short >model.mps
  "$ours" write model.mps model.task >/dev/null
  heading "Writing, 200,000 elements, short names" ms
  formats_writing lp LP
  rm -f model.* written.*
}

# Each four or five times the size of the one before may cost 1.5 times as much an element: names and
# columns are looked up in no order, and ever more of them are outside of the processor's caches.
formats_growth() {
  local suffix million before label
  for million in 1 5 20; do
    "$bin/bench_large_model" ${million}000000 short >"model$million.mps"
    for suffix in lp jtask task; do
      "$ours" write "model$million.mps" "model$million.$suffix" >/dev/null
    done
  done
  heading "Reading 1, 5 and 20 million elements" ns/element
  for suffix in mps lp jtask task; do
    before=
    for million in 1 5 20; do
      processor_times "$ours" read "model$million.$suffix"
      medians[0]=$(awk -v t="${medians[0]}" -v n="$million" 'BEGIN { printf "%.1f", t / n }')
      label=".$suffix, $million million"
      if [[ -z $before ]]; then line "$label" "${medians[0]}"; else
        compared "$label" "${medians[0]}" "$before" 1.5
      fi
      before=${medians[0]}
    done
  done
  rm -f model*
}
