# shellcheck shell=bash
# Shared by the scripts of this folder. Source it; it sets `root` and the helpers below.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cores=$(nproc)

say() { printf '\n\033[1m== %s\033[0m\n' "$*"; }

# What went wrong, and what to do next.
fail() {
    printf '\nfailed: %s\n' "$1" >&2
    [ $# -lt 2 ] || printf 'next step: %s\n' "$2" >&2
    exit 1
}

# build PRESET [TARGET...]: configures once, then builds with progress.
build() {
    local preset=$1
    shift
    local folder="$root/build/$preset" log
    log="$folder/configure.log"
    mkdir -p "$folder"
    if [ ! -f "$folder/build.ninja" ]; then
        say "configuring $preset"
        (cd "$root" && cmake --preset "$preset") >"$log" 2>&1 ||
            { tail -n 30 "$log" >&2; fail "configuring $preset" "read $log; a missing package belongs into scripts/setup"; }
    fi
    say "building $preset"
    (cd "$root" && cmake --build --preset "$preset" --parallel "$cores" ${1:+--target "$@"}) ||
        fail "building $preset" "mend the first error above and run this again"
}
