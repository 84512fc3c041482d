#!/usr/bin/env bash
# Accepts the current ABI of both architectures: writes the baseline files that the tests compare with. Review the diff
# before you commit it.
set -euo pipefail
cd "$(dirname "$0")/../.."
source scripts/build.sh
for preset in release armhf; do
    build "$preset" platform_adaptation abi_layout
    (
        source "build/$preset/tests/abi/build.sh"
        source tests/abi/facts.sh
        for fact in virtual_tables members symbols; do
            "$fact" >"$(accepted "$fact").new"
            mv "$(accepted "$fact").new" "$(accepted "$fact")"
        done
    )
done
git --no-pager diff --stat -- tests/abi
