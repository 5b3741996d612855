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

# build PRESET [CONFIGURE_ARGUMENT...]: configures and builds one preset.
build() {
    local preset="$1"
    shift
    say "Building ($preset)"
    cd -- "$root"
    quietly cmake --preset "$preset" "$@"
    quietly cmake --build --preset "$preset"
}
