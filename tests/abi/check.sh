#!/usr/bin/env bash
# check.sh BUILD_SH virtual_tables|members|symbols: compares a build with the accepted baseline.
# check.sh BUILD_SH per_thread: fails if the library has thread-local storage or changes the calling thread.
set -euo pipefail
source "$1"
source "$(dirname "$0")/facts.sh"
fact=$2

now=$(mktemp)
trap 'rm -f "$now"' EXIT
"$fact" >"$now"
if [[ $fact == per_thread ]]; then
    [[ ! -s $now ]] || { echo "the library has:"; cat "$now"; exit 1; }
else
    [[ -s $now ]] || { echo "nothing to compare: $fact is empty"; exit 1; }
    accepted=$(accepted "$fact")
    diff -u --label "accepted: $accepted" --label "this build ($architecture)" "$accepted" "$now" || {
        echo
        echo "Clients that are already built break on a change of slots, members, enumerators or symbols that they use."
        echo "If you intend this change, raise the library's major version if it is incompatible, run tests/abi/accept.sh"
        echo "and review its diff."
        exit 1
    }
fi
