# shellcheck shell=bash disable=SC2154
# The benchmark of large continuous models; read by bench/run, whose functions and variables it uses.
# Times are processor times of whole processes that run once, one thread each.

bench_large() {
  "$root/scripts/setup" bench
  configure_for bench_ipopt_model
  configure_for bench_factor_cholmod
  build release OFF vorlancli bench_peak_memory bench_structured_model bench_ipopt_model \
    bench_factor_own bench_factor_cholmod
  find_highs
  export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1
  # A run that takes longer is ended, and its time stands for more.
  limit=${BENCH_LARGE_LIMIT:-30}
  [[ ${BENCH_LARGE:-} == full ]] && limit=${BENCH_LARGE_LIMIT:-300}
  if [[ ${BENCH_LARGE:-} == full ]]; then
    large_linear transport 200 1000
    large_linear transport 300 6000
    large_linear planning 200 300
    large_linear staircase 50 200
    large_linear commitment 200 168
    large_quadratic lasso 10000 100
    large_quadratic lasso 20000 500
    large_quadratic sparse-lasso 100000 1000
    large_quadratic squares 100000 20
    large_quadratic squares 500000 20
    large_quadratic squares 1000000 5
    large_quadratic support-vectors 100000 200
    large_factors "transport 200 1000" "planning 200 300" "staircase 50 200" "commitment 200 168" "grid 24 30"
  else
    large_linear transport 60 300
    large_linear planning 60 100
    large_linear staircase 20 100
    large_linear commitment 20 72
    large_quadratic lasso 2000 50
    large_quadratic sparse-lasso 5000 200
    large_quadratic squares 20000 20
    large_quadratic support-vectors 5000 50
    large_factors "transport 60 300" "planning 60 100" "staircase 20 100" "commitment 20 72" "grid 16 30"
  fi
}

# measured COMMAND...: sets peak, in MiB, and seconds, and says where the limit ended it; status 1 where the
# command cannot be run.
measured() {
  local output status=0
  output=$("$bin/bench_peak_memory" --time timeout "$limit" "$@") || status=$?
  read -r peak seconds <<<"$output" || true
  ((status != 124)) || note "large: ended after $limit s, and its time stands for more: ${*//"$bin/"/}"
  [[ -n ${seconds:-} ]]
}

# own WORD...: the arguments of a solve by this project with one thread.
own() { measured "$bin/vorlancli" -log ours.log -read "$model" "$@" -d VLN_IPAR_NUM_THREADS 1 -solve -write-solution ours.plain; }

# large_linear KIND SIZE SIZE
large_linear() {
  model=model.mps
  "$bin/bench_structured_model" "$@" >"$model"
  heading "Large: $1 $2 x $3, processor time of whole processes" s
  peaks=()
  peer "highs, simplex" "$highs" --solver simplex --parallel off "$model"
  peer "highs, interior point" "$highs" --solver ipm --parallel off "$model"
  local interior=$seconds
  # Clp's exit status says nothing.
  peer "clp" clp "$model" -dualsimplex -solution clp.txt
  head -n 1 clp.txt | grep -qi '^optimal' || missing "large: clp on $*"
  OPENBLAS_CORETYPE='' peer "Ipopt" "$bin/bench_ipopt_model" "$@"
  own || missing "large: vorlancli on $*"
  line "vorlancli" "$seconds"
  peaks+=("vorlancli" "$peak")
  local objective
  objective=$(awk '$1 == "Objective" { print $2; exit }' ours.plain)
  own -d VLN_IPAR_OPTIMIZER conic || missing "large: the conic method on $*"
  compared "vorlancli, conic" "$seconds" "$interior" 1
  file="$*" check_objective "$objective" 1e-6 || missing "large: another optimum of $*"
  large_memory "$@"
}

# large_quadratic KIND SIZE SIZE: as a quadratic objective beside Ipopt, and with a cone.
large_quadratic() {
  model=model.mps
  "$bin/bench_structured_model" "$@" >"$model"
  heading "Large: $1 $2 x $3, processor time of whole processes" s
  peaks=()
  OPENBLAS_CORETYPE='' peer "Ipopt" "$bin/bench_ipopt_model" "$@"
  local ipopt=$seconds objective
  own || missing "large: vorlancli on $*"
  compared "vorlancli" "$seconds" "$ipopt"
  objective=$(awk '$1 == "Objective" { print $2; exit }' ours.plain)
  large_memory "$@"
  [[ $1 == support-vectors ]] && return
  model=model.cbf
  "$bin/bench_structured_model" "$1-cone" "$2" "$3" >"$model"
  heading "Large: $1 $2 x $3 with a rotated cone, processor time of whole processes" s
  peaks=()
  own || missing "large: vorlancli on $* with a cone"
  line "vorlancli" "$seconds"
  file="$* with a cone" check_objective "$objective" 1e-6 || missing "large: another optimum of $* with a cone"
  large_memory "$@" "with a rotated cone"
}

# peer LABEL COMMAND...
peer() {
  measured "${@:2}" || missing "large: $1"
  line "$1" "$seconds"
  peaks+=("$1" "$peak")
}

# large_memory WORD...: the peaks, the last run's beside three times the model and the factor.
large_memory() {
  local last=$peak reading factor k bar=()
  # A small model weighs less than the program with its libraries.
  [[ ${BENCH_LARGE:-} == full ]] && bar=(1)
  measured "$bin/vorlancli" -read "$model"
  reading=$peak
  factor=$(sed -n 's/.*; \([0-9]*\) elements in the factor.*/\1/p' ours.log | head -n 1)
  heading "Large: $*, peak memory (PSS)" MiB
  for ((k = 0; k < ${#peaks[@]}; k += 2)); do line "${peaks[k]}" "${peaks[k + 1]}"; done
  line "the model, read" "$reading"
  compared "conic, beside 3 models and the factor" "$last" \
    "$(awk -v m="$reading" -v f="${factor:-0}" 'BEGIN { printf "%.1f", 3 * m + 12 * f / 1048576 }')" "${bar[@]}"
}

# large_factors MODEL...: the sparse factorization beside CHOLMOD's.
large_factors() {
  local words ours theirs
  for words in "$@"; do
    heading "Large: factorization of A A' + I, $words" ms
    # shellcheck disable=SC2086
    read -ra ours < <("$bin/bench_factor_own" $words)
    # shellcheck disable=SC2086
    read -ra theirs < <(OPENBLAS_CORETYPE='' "$bin/bench_factor_cholmod" $words)
    line "CHOLMOD, order and analysis" "$(thousandfold "${theirs[0]}")"
    compared "order and analysis" "$(thousandfold "${ours[0]}")" "$(thousandfold "${theirs[0]}")"
    line "CHOLMOD, numbers" "$(thousandfold "${theirs[1]}")"
    compared "numbers" "$(thousandfold "${ours[1]}")" "$(thousandfold "${theirs[1]}")"
  done
}

thousandfold() { awk -v s="$1" 'BEGIN { printf "%.2f", 1000 * s }'; }
