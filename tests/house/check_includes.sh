#!/usr/bin/env bash
# Who may include whom: a client's headers and programs see include/ and what those headers need of the platform;
# the library sees include/, its own source/ and platform/include/; the platform's headers and the simulated
# television see platform/ only. An example of a test also sees the installed headers of the simulated television.
# Tests see everything.
set -euo pipefail
cd "$1"

folder_of() {  # the project's folder in which an included name is found, if it is one of ours
    local name=$1 from=$2 folder
    for folder in "$(dirname "$from")" include platform/include platform/simulated/include platform/simulated/src \
        source/common/src source/platform_adaptation/src source/platform_adaptation/src/system_access tests/support; do
        if [[ -f $folder/$name ]]; then
            realpath --relative-to=. "$folder/$name"
            return
        fi
    done
}

allowed() {  # FILE INCLUDED
    case $1 in
        include/*) [[ $2 == include/* || $2 == platform/include/* ]] ;;
        source/*) [[ $2 == include/* || $2 == source/* || $2 == platform/include/* ]] ;;
        platform/include/*) [[ $2 == platform/include/* ]] ;;
        platform/simulated/*) [[ $2 == platform/* ]] ;;
        examples/*_test.cpp) [[ $2 == include/* || $2 == platform/simulated/include/* ]] ;;
        examples/*) [[ $2 == include/* || $2 == examples/* ]] ;;
        *) true ;;
    esac
}

bad=0 seen=0
while IFS=: read -r file name; do
    included=$(folder_of "$name" "$file")
    [[ -n $included ]] || continue
    seen=$((seen + 1))
    if ! allowed "$file" "$included"; then
        echo "$file must not include $included"
        bad=1
    fi
done < <(find include source platform examples -name '*.h' -o -name '*.cpp' | sort |
    xargs grep -HoP '^\s*#\s*include\s+[<"]\K[^>"]+')
echo "$seen includes within the project"
[[ $bad == 0 && $seen -gt 0 ]]
