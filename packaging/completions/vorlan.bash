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
    --set) _vorlan_offer -S = -W "$(vorlan params 2>/dev/null | cut -d: -f1)"; compopt -o nospace; return ;;
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
