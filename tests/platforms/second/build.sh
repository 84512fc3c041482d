#!/usr/bin/env bash
# build.sh PROJECT BUILD TARGETS OPTION...: builds the second platform as its maker does, and then TARGETS, with the
# library, for it, as for any television; OPTIONs are those of CMake.
set -euo pipefail
project=$1 build=$2
read -ra targets <<<"$3"
shift 3
second=$project/tests/platforms/second

cmake -S "$second/maker" -B "$build/maker" --install-prefix "$build/sdk" "$@"
cmake --build "$build/maker"
cmake --install "$build/maker"

cmake -S "$second" -B "$build/library" -DPLATFORM_SDK="$build/sdk" "$@"
cmake --build "$build/library" --target "${targets[@]}"
