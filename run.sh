#!/usr/bin/env bash
# Set-up, build and run on a fresh Debian machine.
#   ./run.sh example   install what the build needs, build, translate the example library
#   ./run.sh test      install what the build needs, build, run every test, then
#                      build and run them again under the address and UB sanitizers
#   ./run.sh fuzz [s]  build the fuzz targets with clang and run each for s seconds
#                      (default 60); stops at the first crash and shows its input
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
fuzz)
    seconds=${2:-60}
    install_missing cmake ninja-build clang libclang-rt-14-dev
    cmake --preset fuzz >/dev/null
    cmake --build --preset fuzz -j "$jobs"
    # New inputs go to a working corpus in the build tree; the seeds in the
    # source tree are only read. A unit slower than a second is a failure.
    # Paths are absolute: a target may change directory while it runs, which
    # is when a crash is written.
    out=$PWD/build-fuzz
    mkdir -p "$out/corpus" "$out/crashes" "$out/logs"
    summary=()
    for bin in "$out"/bin/*_fuzz; do
        name=$(basename "$bin" _fuzz)
        seeds=$PWD/tests/fuzz/corpus/$name
        log=$out/logs/$name.log
        mkdir -p "$out/corpus/$name"
        echo "== $name: $seconds s"
        if ! "$bin" -max_total_time="$seconds" -timeout=1 -rss_limit_mb=2048 -print_final_stats=1 \
                -artifact_prefix="$out/crashes/$name-" "$out/corpus/$name" "$seeds" >"$log" 2>&1; then
            # The report from its first line on; the fuzzer's progress before it says little.
            sed -n '/ERROR:\|fuzz check failed\|runtime error:\|^==[0-9]*==/,$p' "$log" | head -n 80
            unit=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -n 1)
            echo "== $name failed; full log: $log"
            if [ -n "$unit" ] && [ -f "$unit" ]; then
                echo "== reproducer: $unit ($(wc -c <"$unit") bytes)"
                od -A d -c "$unit" | head -n 40
                echo "== run it again with: $bin $unit"
                echo "== add it to the seeds once fixed: cp $unit $seeds/"
            fi
            exit 1
        fi
        execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
        cov=$(grep -o "cov: [0-9]*" "$log" | tail -n 1 || true)
        summary+=("$(printf '%-12s %12s executions  %s' "$name" "$execs" "$cov")")
    done
    echo "== all targets ran clean"
    printf '%s\n' "${summary[@]}"
    ;;
*)
    echo "usage: $0 example|test|fuzz [seconds]" >&2
    exit 2
    ;;
esac
