#!/usr/bin/env bash
# check.sh BUILD_SH virtual_tables|members|symbols|abi: compares what a build has with what was accepted.
# check.sh BUILD_SH per_thread: fails if the library has thread-local storage or changes threads.
set -euo pipefail
source "$1"
source "$(dirname "$0")/facts.sh"
fact=$2

how_to_accept() {
    echo
    echo "Clients that are already built break on a change of slots, members or symbols that they use. If this one is"
    echo "meant, raise the library's major version where it is incompatible, run tests/abi/accept.sh and review its diff."
    exit 1
}

now=$(mktemp)
trap 'rm -f "$now"' EXIT
"$fact" >"$now"
if [[ $fact == per_thread ]]; then
    [[ ! -s $now ]] || { echo "the library has:"; cat "$now"; exit 1; }
elif [[ $fact == abi ]]; then
    abidiff --no-show-locs "$(accepted abi)" "$now" || how_to_accept
else
    [[ -s $now ]] || { echo "nothing to compare: $fact is empty"; exit 1; }
    diff -u --label "accepted: $(accepted "$fact")" --label "this build ($architecture)" "$(accepted "$fact")" "$now" ||
        how_to_accept
fi
