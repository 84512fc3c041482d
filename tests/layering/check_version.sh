#!/usr/bin/env bash
# check_version.sh SOURCE_FOLDER VERSION: every file that names the version of the project names this one.
set -euo pipefail
cd "$1"
version=$2 bad=0

expect() {  # FILE FOUND
    if [[ $2 != "$version" ]]; then
        echo "$1 has the version '$2', not '$version'"
        bad=1
    fi
}

expect CHANGELOG.md "$(sed -n 's/^## \([0-9.]*\).*/\1/p' CHANGELOG.md | head -n 1)"
expect packaging/debian/changelog "$(sed -n '1s/.*(\([0-9.]*\)-.*/\1/p' packaging/debian/changelog)"
expect packaging/buildroot "$(sed -n 's/^PLATFORM_ADAPTATION_VERSION = //p' \
    packaging/buildroot/platform-adaptation/platform-adaptation.mk)"
for recipe in packaging/yocto/*.bb; do expect "$recipe" "$(basename "${recipe##*_}" .bb)"; done
exit $bad
