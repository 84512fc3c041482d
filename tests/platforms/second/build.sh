#!/usr/bin/env bash
# build.sh PROJECT BUILD TARGETS OPTION...: builds the second platform like its maker, and then the library and TARGETS
# for that platform like for any television. OPTIONs are CMake options.
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
