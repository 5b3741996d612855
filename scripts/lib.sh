# What the scripts share; sourced by them, never run.
# shellcheck shell=bash

set -euo pipefail

root="$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)"
export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"

say() { printf '\n== %s\n' "$*"; }

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# quietly COMMAND...: shows its output only when it fails.
quietly() {
    local log status=0
    log="$(mktemp)"
    "$@" > "$log" 2>&1 < /dev/null || status=$?
    if [ "$status" -ne 0 ]; then
        cat -- "$log" >&2
        printf '%s: failed with %d: %s\n' "${0##*/}" "$status" "$*" >&2
    fi
    rm -f -- "$log"
    return "$status"
}

# build PRESET [TARGET]: configures one preset and builds the target, or everything.
build() {
    say "Building ($*)"
    cd -- "$root"
    quietly cmake --preset "$1"
    quietly cmake --build --preset "$1" ${2:+--target "$2"}
}
