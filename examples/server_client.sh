#!/usr/bin/env bash
# Solves a problem file on a solver server, with curl alone.
# usage: server_client.sh PROBLEM_FILE SOLUTION_FILE
# VORLAN_SERVER_URL is the server (http://localhost:7467), VORLAN_TOKEN the access token.
set -euo pipefail
url=${VORLAN_SERVER_URL:-http://localhost:7467}
problem=$1
solution=$2

# ask PATH [CURL_OPTION...]: tries again while the server is away or busy. The token goes by standard
# input, because everybody can see a command line.
ask() {
  local path=$1
  shift
  curl --silent --show-error --fail-with-body --retry 60 --retry-connrefused --retry-max-time 600 \
    --config - "$@" "$url$path" <<<"header = \"Authorization: Bearer $VORLAN_TOKEN\""
}

# field NAME: a text of the job that stands on standard input.
field() { sed -nE "s/^\\{.*\"$1\":\"([^\"]*)\".*/\\1/p"; }

name=$(basename -- "$problem" | sed 's/[^A-Za-z0-9._-]/_/g')
key=$(cat /proc/sys/kernel/random/uuid)
id=$(ask "/v1/jobs?name=$name" --header "Idempotency-Key: $key" --upload-file "$problem" | field id)

# The stream of events ends with the job; a cut one is simply asked for again.
until job=$(ask "/v1/jobs/$id") && [[ $job == *'"state":"ended"'* ]]; do
  ask "/v1/jobs/$id/events" --no-buffer | sed -n 's/^event: //p' >&2 || true
done

outcome=$(field outcome <<<"$job")
if [[ $outcome != ok ]]; then
  printf '%s: %s: %s\n' "$outcome" "$(field response <<<"$job")" "$(field message <<<"$job")" >&2
  exit 1
fi
ask "/v1/jobs/$id/solution.json" --output "$solution"
ask "/v1/jobs/$id" --request DELETE
printf '%s: %s\n' "$outcome" "$(field termination <<<"$job")"
