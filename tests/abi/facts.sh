# What check.sh compares and accept.sh accepts: functions that print facts about one build. Sourced, after the build.sh
# that CMake wrote.
facts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

virtual_tables() { /usr/bin/python3 "$facts/layout.py" tables "$layout" "$class_dump" "$readelf"; }
members() { /usr/bin/python3 "$facts/layout.py" members "$layout" "$class_dump" "$readelf"; }

# Demangled; a constructor or destructor has one line for all of its variants. The version's own symbol is none.
symbols() {
    "$nm" --dynamic --defined-only --demangle "$library" | sed -E 's/^[0-9a-f]+ //; s/@@.*//' |
        grep -v '^A ' | sed -E 's/^(.) /\1 /; s/^[TW] /function /; s/^[DVRB] /object /' | LC_ALL=C sort -u
}

# Thread-local storage, and the imports that would serve it or change the calling thread.
per_thread() {
    "$readelf" --segments --wide "$library" | grep -w TLS || true
    "$nm" --dynamic --undefined-only "$library" |
        grep -Ew 'pthread_key_create|__tls_get_addr|__cxa_thread_atexit(_impl)?|prctl' || true
}

# Types that only the library uses are left out: its public headers say which are not. No path of the building machine.
abi() {
    abidw --headers-dir "$facts/../../include" --headers-dir "$facts/../../platform/include" --drop-private-types \
        --suppressions "$facts/abi.suppr" --exported-interfaces-only --no-corpus-path --no-comp-dir-path \
        --no-show-locs "$described"
}

# The file that holds an accepted fact.
accepted() {
    case $1 in
        virtual_tables) echo "$facts/virtual_tables.txt" ;;
        symbols) echo "$facts/symbols.txt" ;;
        members) echo "$facts/members-$architecture.txt" ;;
        abi) echo "$facts/platform_adaptation-$architecture.abi" ;;
    esac
}
