#!/usr/bin/env bash
# Checks which folder's headers a file includes: the table in docs/architecture.md.
set -euo pipefail
cd "$1"

folder_of() {  # the project's folder in which an included name is found, if it is one of ours
    local name=$1 from=$2 folder
    for folder in "$(dirname "$from")" include platform/include platform/catalogue platform/catalogue/include platform/text \
        platform/simulated/include platform/simulated/src platform/simulated/remote platform/simulated/pipeline platform/simulated/picture/include \
        source/common/src source/platform_adaptation/src source/platform_adaptation/src/system_access conformance \
        tools/support tools/aipqctl tools/aipq-television tools/aipq-television/screen examples/support tests/support; do
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
        platform/catalogue/*) [[ $2 == platform/catalogue/* || $2 == platform/include/* ]] ;;
        platform/text/*) [[ $2 == platform/text/* ]] ;;
        platform/simulated/*) [[ $2 == platform/* ]] ;;
        conformance/*) [[ $2 == conformance/* || $2 == include/* || $2 == platform/include/* || $2 == platform/catalogue/* ]] ;;
        tools/*) [[ $2 == tools/* || $2 == conformance/* || $2 == include/* || $2 == platform/* ]] ;;
        examples/*_test.cpp) [[ $2 == include/* || $2 == platform/simulated/include/* ]] ;;
        examples/*) [[ $2 == include/* || $2 == examples/* || $2 == platform/text/* || $2 == platform/simulated/picture/include/* ]] ;;
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
done < <(find include source platform conformance tools examples -name '*.h' -o -name '*.cpp' | sort |
    xargs grep -HoP '^\s*#\s*include\s+[<"]\K[^>"]+')
echo "$seen includes within the project"
[[ $bad == 0 && $seen -gt 0 ]]
