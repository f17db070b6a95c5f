# shellcheck shell=bash
# Shared by the shell scripts: where things are, how they speak, how they run a step.
# Sourced, never run.

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
me=${0##*/}

# HOME can be missing under service managers; the cache and CMake need it.
if [[ -z ${HOME:-} ]]; then
  HOME=$(getent passwd "$(id -u)" | cut -d: -f6)
  export HOME
fi
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vorlancli

# All notes go to standard error: standard output belongs to the program that is run.
note() { printf '%s: %s\n' "$me" "$*" >&2; }
fail() {
  note "$*"
  exit 1
}

# Sets distribution (debian) and release (12); a release without a number counts as newer than all.
read_system() {
  distribution=unknown
  release=99
  [[ -r /etc/os-release ]] || return 0
  local key value
  while IFS='=' read -r key value; do
    value=${value//\"/}
    case $key in
      ID) distribution=$value ;;
      VERSION_ID) release=${value%%.*} ;;
    esac
  done </etc/os-release
}

# quiet COMMAND...: runs it without input and hides its output unless it fails.
quiet() {
  local log status=0
  log=$(mktemp)
  "$@" >"$log" 2>&1 </dev/null || status=$?
  if ((status != 0)); then
    cat -- "$log" >&2
    note "failed (status $status): $*"
  fi
  rm -f -- "$log"
  return "$status"
}

# locked FILE COMMAND...: runs the command while holding the lock file, which it does not inherit.
# A failing command ends the script (set -e), which frees the lock too.
locked() {
  local file=$1
  shift
  mkdir -p -- "${file%/*}"
  exec {lock}>"$file"
  if ! flock --nonblock "$lock"; then
    note "waiting for another run that holds $file"
    flock "$lock"
  fi
  "$@" {lock}>&-
  exec {lock}>&-
}

# Where the built copy of a dependency is: a change of its recipe, or of the patch beside it, gives
# it a new place. cmake/Dependencies.cmake computes the same path.
dependency_prefix() {
  local recipe=$root/scripts/dependencies/$1.sh patch=$root/scripts/dependencies/$1.patch version key
  version=$(sed -n 's/^version=//p' "$recipe")
  [[ -r $patch ]] || patch=/dev/null
  key=$(cat "$recipe" "$patch" | sha256sum)
  printf '%s/deps/%s-%s-%s%s-%s\n' "$cache" "$1" "$version" "$distribution" "$release" "${key:0:12}"
}

# configure PRESET TESTS: makes build/PRESET ready to be built; TESTS is ON or OFF. A folder that was
# configured with the tests keeps them; one that was moved here from elsewhere starts afresh.
configure() {
  mkdir -p -- "$root/build/$1"
  locked "$root/build/$1/.lock" configure_locked "$@"
}

configure_locked() {
  local folder=$root/build/$1 fresh=()
  if ! grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
    fresh=(--fresh)
  elif [[ -f $folder/build.ninja ]]; then
    [[ $2 == ON ]] || return 0
    ! grep -qx 'VORLAN_TESTS:BOOL=ON' "$folder/CMakeCache.txt" || return 0
  fi
  note "configuring build/$1"
  (cd "$root" && quiet cmake --preset "$1" -DVORLAN_TESTS="$2" "${fresh[@]}")
}

# build PRESET TESTS [TARGET...]: brings build/PRESET up to date. Where nothing changed this costs
# one look by ninja.
build() {
  configure "$1" "$2"
  locked "$root/build/$1/.lock" build_locked "$1" "${@:3}"
}

build_locked() {
  local folder=$root/build/$1
  shift
  [[ $(ninja -C "$folder" -n "$@" 2>&1 | tail -n 1) != 'ninja: no work to do.' ]] || return 0
  note "building ${folder#"$root/"}"
  quiet ninja --quiet -C "$folder" "$@"
}

# kept_inputs TARGET: the folders of the repository with inputs of a fuzz target, one a line.
kept_inputs() {
  local folder
  for folder in corpus minimized; do
    [[ ! -d $root/fuzz/$folder/${1#fuzz_} ]] || printf '%s\n' "$root/fuzz/$folder/${1#fuzz_}"
  done
}

# sources GLOB: the project's own C and C++ files whose name matches, one a line, seen from $root.
sources() {
  local folders=() folder
  for folder in include src tests fuzz bench; do
    [[ -d $root/$folder ]] && folders+=("$folder")
  done
  (cd "$root" && find "${folders[@]}" -type f -name "$1" | grep -E '\.(h|c|cpp)$' | LC_ALL=C sort)
}

# What verifies the archives of all Debian releases.
# shellcheck disable=SC2034  # for the scripts that source this
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

# Debian mirrors among the system's own package sources, one URI a line.
debian_mirrors() {
  local codename
  codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
  apt-get indextargets --format '$(RELEASE) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
    awk -v release="$codename" '$1 == release && $2 == "main" && !seen[$3]++ { print $3 }'
}
