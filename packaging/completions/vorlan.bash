# Made by "vorlan completion bash".
# shellcheck shell=bash
_vorlan_offer() {
  mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen "$@" -- "$cur")
}

_vorlan() {
  local cur=${COMP_WORDS[COMP_CWORD]} flags words
  COMPREPLY=()
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    --time-limit) _vorlan_offer -W ''; return ;;
    --set) _vorlan_offer -S = -W 'VLN_IPAR_SIMPLEX_ITERATION_LIMIT VLN_IPAR_INTERIOR_ITERATION_LIMIT VLN_IPAR_MIP_NODE_LIMIT VLN_IPAR_MIP_SOLUTION_LIMIT VLN_DPAR_TIME_LIMIT VLN_DPAR_LOWER_OBJECTIVE_CUTOFF VLN_DPAR_UPPER_OBJECTIVE_CUTOFF VLN_DPAR_FEASIBILITY_TOLERANCE VLN_DPAR_OPTIMALITY_TOLERANCE VLN_DPAR_INTEGRALITY_TOLERANCE VLN_DPAR_MIP_RELATIVE_GAP VLN_DPAR_MIP_ABSOLUTE_GAP VLN_DPAR_CONIC_FEASIBILITY_TOLERANCE VLN_DPAR_CONIC_GAP_TOLERANCE VLN_IPAR_OPTIMIZER VLN_IPAR_PRESOLVE VLN_IPAR_RANDOM_SEED VLN_IPAR_SCALING VLN_IPAR_CROSSOVER VLN_IPAR_WARM_START VLN_IPAR_MIP_SYMMETRY VLN_IPAR_MIP_RESTART VLN_DPAR_MIP_HEURISTIC_EFFORT VLN_IPAR_LOG VLN_IPAR_SHOW_FILE_NAMES VLN_DPAR_LOG_INTERVAL VLN_IPAR_NUM_THREADS VLN_IPAR_CHILD_PROCESS VLN_DPAR_MEMORY_LIMIT VLN_IPAR_READ_DECLARED_LIMIT VLN_IPAR_READ_TOKEN_LIMIT VLN_IPAR_TASK_FILE_SOLUTIONS VLN_IPAR_TEXT_FILE_SOLUTIONS VLN_IPAR_ASYNC_READ VLN_IPAR_ASYNC_WRITE VLN_SPAR_LOG_FILE VLN_SPAR_PROBLEM_FILE VLN_SPAR_B_SOLUTION_FILE VLN_SPAR_JSON_SOLUTION_FILE VLN_SPAR_SOLVER_RESULT_FILE'; compopt -o nospace; return ;;
    --output) _vorlan_offer -f; return ;;
    --report) _vorlan_offer -f; return ;;
    --tolerance) _vorlan_offer -W ''; return ;;
  esac
  case ${COMP_WORDS[1]} in
    check) flags='--help --tolerance --json'; words=(-W ''); [[ $cur == -* ]] || words=(-f) ;;
    convert) flags='--help'; words=(-W ''); [[ $cur == -* ]] || words=(-f) ;;
    params) flags='--help'; words=(-W ''); [[ $cur == -* ]] || words=(-W '') ;;
    completion) flags='--help'; words=(-W ''); [[ $cur == -* ]] || words=(-W 'bash zsh fish') ;;
    manual) flags='--help'; words=(-W ''); [[ $cur == -* ]] || words=(-W '') ;;
    *) flags='--help --version --time-limit --set --output --report --json --csv --quiet'; words=(-W ''); [[ $cur == -* ]] || words=(-f) ;;
  esac
  _vorlan_offer "${words[@]}"
  if [[ $cur == -* ]]; then _vorlan_offer -W "$flags"; fi
  if ((COMP_CWORD == 1)); then _vorlan_offer -W 'check convert params completion manual'; fi
}

complete -o filenames -F _vorlan vorlan
