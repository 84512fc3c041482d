# Functions that print facts about one build. check.sh compares them, accept.sh accepts them. Source this file after the
# build.sh that CMake writes.
facts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

layout() { /usr/bin/python3 "$facts/layout.py" "$1" "$layout" "$readelf" "${@:2}"; }
virtual_tables() { layout tables "$class_dump"; }
members() { layout members; }
symbols() {
    "$readelf" --dynamic --wide "$library" | sed -nE 's/.*Library soname: \[(.*)\]/soname \1/p'
    "$nm" --dynamic --defined-only "$library" | layout symbols
}

# Thread-local storage, and the imported functions that implement it or change the calling thread.
per_thread() {
    "$readelf" --segments --wide "$library" | grep -w TLS || true
    "$nm" --dynamic --undefined-only "$library" |
        grep -Ew 'pthread_key_create|__tls_get_addr|__cxa_thread_atexit(_impl)?|prctl' || true
}

# The baseline file of a fact.
accepted() {
    case $1 in
        virtual_tables) echo "$facts/virtual_tables.txt" ;;
        symbols) echo "$facts/symbols.txt" ;;
        members) echo "$facts/members-$architecture.txt" ;;
    esac
}
