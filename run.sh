#!/usr/bin/env bash
# Set-up, build and run on a fresh Debian machine.
#   ./run.sh example   install what the build needs, build, translate the example library
#   ./run.sh test      install what the build needs, build, run every test, then
#                      build and run them again under the address and UB sanitizers
set -euo pipefail
cd "$(dirname "$0")"

install_missing() {
    local missing=()
    for p in "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

build_packages=(cmake ninja-build g++ libgtest-dev libgmock-dev)
jobs=$(nproc 2>/dev/null || echo 2)

case "${1:-}" in
example)
    install_missing "${build_packages[@]}"
    cmake --preset default >/dev/null
    cmake --build --preset default -j "$jobs"
    # The library run writes beside the symbols, so it runs on a copy of
    # the example (library list and library) and the source tree stays clean.
    out=build/example
    rm -rf "$out" && mkdir -p "$out" && cp -R examples/. "$out/"
    (cd "$out" && KDIR="$PWD/../share/entgen" ../bin/entgen -o -l cells)
    echo "== $out/cells/behv:" && ls "$out/cells/behv"
    for f in "$out"/cells/behv/*.vhd; do echo "== $f" && cat "$f"; done
    ;;
test)
    install_missing "${build_packages[@]}" libbenchmark-dev ghdl groff-base dpkg-dev file
    cmake --preset default >/dev/null
    cmake --build --preset default -j "$jobs"
    ctest --preset default -j "$jobs"
    cmake --preset asan >/dev/null
    cmake --build --preset asan -j "$jobs"
    ctest --preset asan -j "$jobs"
    ;;
*)
    echo "usage: $0 example|test" >&2
    exit 2
    ;;
esac
