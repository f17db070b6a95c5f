# shellcheck shell=bash disable=SC2154,SC2034
# The table that bench/run prints, and the figures behind it for bench/record; read by bench/run.

# A benchmark's lines stand below a heading. Headings and labels name a figure in the record, so they
# hold nothing that is measured.

# heading TEXT UNIT
heading() {
  section=$1
  unit=$2
  printf '\n%s\n' "$1"
  printf '  %-44s %10s %8s %6s  %s\n' "" "$2" ratio bar ""
}

# line LABEL VALUE
line() {
  printf '  %-44s %10s\n' "$1" "$2"
  figure "$1" "$2" "" "" ""
}

# compared LABEL VALUE REFERENCE [BAR]: the value, its ratio to the reference, whether the bar holds.
compared() {
  local ratio verdict=""
  ratio=$(awk -v a="$2" -v b="$3" 'BEGIN { if (b + 0 > 0) printf "%.2f", a / b; else print "-" }')
  if [[ -n ${4:-} ]]; then
    verdict=holds
    # The exact quotient decides, not the rounded one; what is no number holds no bar.
    awk -v a="$2" -v b="$3" -v bar="$4" \
      'BEGIN { exit !(a + 0 > 0 && a + 0 < 1e300 && b + 0 > 0 && a <= bar * b) }' || verdict=MISSED
    [[ $verdict == holds ]] || missed=1
  fi
  printf '  %-44s %10s %8s %6s  %s\n' "$1" "$2" "$ratio" "${4:-}" "$verdict"
  figure "$1" "$2" "$ratio" "${4:-}" "$verdict"
}

# missing WHAT: says what could not be measured, and goes on with the rest.
missing() {
  note "$*"
  missed=1
}

# figure LABEL VALUE RATIO BAR VERDICT: a line of the file that bench/record reads.
figure() {
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$benchmark" "$section" "$1" "$unit" "$2" "$3" "$4" "$5" \
    >>"$figures"
}
