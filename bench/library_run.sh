#!/usr/bin/env bash
# What a translation costs against what it cannot avoid. Generates
# libraries of symbols (bench/symgen.cpp: 10 to 60 pins, buses, generics,
# user attributes, comments; a fixed seed) on a memory file system, and
# times in one run, rounds interleaved, the median of the rounds:
#
#   - `entgen -o -l` on libraries of 2,500 and 10,000 symbols;
#   - the floor (bench/floor.c): read each symbol file, write a file of the
#     same size into behv/; and the floor again, each file written whole or
#     not at all (beside, synced, renamed) as entgen writes its models;
#   - a one-symbol run, and an empty program compiled and linked as entgen;
#   - one-symbol runs beside a scrivet.ini of 2,500 and of 10,000 DIR lines.
#
# It prints the ratios the program is held to, the system calls per symbol
# of a library run beside the floor's, and the peak memory of the largest
# run; it fails when a target is missed.
#
#   bench/library_run.sh [build-directory]
#   build-directory defaults to build (the default preset). From the
#   environment: ROUNDS (5), REPEAT (20) runs of each short program in a
#   round, BENCH_TMP for the directory to work in (/dev/shm), KEEP=1 to keep
#   it. KDIR defaults to the build's support directory.
set -euo pipefail
cd "$(dirname "$0")/.."

build=$(realpath "${1:-build}")
rounds=${ROUNDS:-5}
repeat=${REPEAT:-20}
program=$build/bin/entgen
export KDIR=${KDIR:-$build/share/entgen}
cmake --build "$build" --target entgen entgen_empty symgen >/dev/null

# The profile of system calls needs strace, a Debian package: installed here
# when it is missing and the machine has apt.
if ! command -v strace >/dev/null && command -v apt-get >/dev/null; then
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq && DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq strace ||
        echo "strace could not be installed" >&2
fi
empty=$build/bin/entgen_empty
symgen=$build/bin/symgen

# In memory where it can be: on a disk file system the creation of
# thousands of files costs the kernel more than the translation does.
tmp=${BENCH_TMP:-/dev/shm}
[ -d "$tmp" ] && [ -w "$tmp" ] || tmp=${TMPDIR:-/tmp}
work=$(mktemp -d "$tmp/entgen-bench.XXXXXX")
[ "${KEEP:-0}" = 1 ] && echo "working in $work" || trap 'rm -rf "$work"' EXIT

cc -O2 -o "$work/benchrun" bench/benchrun.c
cc -O2 -o "$work/floor" bench/floor.c
bench=$work/benchrun

"$symgen" 2500 "$work/lib2500"
"$symgen" 10000 "$work/lib10000"
# A symbol for the runs of one: the first of the library whose name needs
# no prefix.
for f in "$work"/lib10000/cells/sym/[a-z]*.1; do one=${f##*/} && break; done

# Library lists of many directories; the symbol's library comes last, so
# that whatever walks the list walks all of it.
for n in 2500 10000; do
    d=$work/scrivet$n
    mkdir -p "$d/dirs"
    (cd "$d/dirs" && seq -f 'lib%g' 1 $((n - 1)) | xargs mkdir)
    seq 1 $((n - 1)) | awk '{ print "DIR [r] ./dirs/lib" $1 " (lib" $1 ")" }' >"$d/scrivet.ini"
    echo "DIR [p] ./cells (cells)" >>"$d/scrivet.ini"
    cp "$work/lib10000/entgen.ini" "$d/"
    mkdir -p "$d/cells/sym"
    cp "$work/lib10000/cells/sym/$one" "$d/cells/sym/"
done

# One line of benchrun: median wall ms, mean processor ms, peak kB.
measure() { "$bench" "$@" || { echo "measure failed: ${*:3}" >&2; exit 1; }; }
library() {
    rm -rf "$1/cells/behv"
    measure 1 "$1" "$program" -o -l cells
}
floor() {
    rm -rf "$1/cells/behv"
    local dir=$1
    shift
    measure 1 "$dir" "$work/floor" "$@" cells
}

declare -A wall cpu
peak=0
add() { wall[$1]+="${2} "; cpu[$1]+="${3} "; }
for ((r = 1; r <= rounds; r++)); do
    read -r w c k < <(library "$work/lib2500"); add lib2500 "$w" "$c"
    read -r w c k < <(library "$work/lib10000"); add lib10000 "$w" "$c"
    [ "$k" -gt "$peak" ] && peak=$k
    read -r w c k < <(floor "$work/lib2500"); add floor2500 "$w" "$c"
    read -r w c k < <(floor "$work/lib10000"); add floor10000 "$w" "$c"
    read -r w c k < <(floor "$work/lib10000" -a); add whole10000 "$w" "$c"
    read -r w c k < <(measure "$repeat" "$work/lib10000" "$program" -o "cells:$one"); add one "$w" "$c"
    read -r w c k < <(measure "$repeat" "$work" "$empty"); add empty "$w" "$c"
    read -r w c k < <(measure "$repeat" "$work/scrivet2500" "$program" -o "cells:$one"); add scrivet2500 "$w" "$c"
    read -r w c k < <(measure "$repeat" "$work/scrivet10000" "$program" -o "cells:$one"); add scrivet10000 "$w" "$c"
done

median() { tr ' ' '\n' <<<"$1" | grep . | sort -g | awk '{ v[NR] = $1 } END { print NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
declare -A W C
for key in "${!wall[@]}"; do
    W[$key]=$(median "${wall[$key]}")
    C[$key]=$(median "${cpu[$key]}")
done

models=$(find "$work/lib10000/cells/behv" -name '*.vhd' | wc -l)
printf "entgen %s, %d rounds, medians of wall time (processor time in brackets)\n" "$program" "$rounds"
show() { printf "  %-34s %10.3f ms  (%9.3f ms)\n" "$1" "${W[$2]}" "${C[$2]}"; }
show "entgen -o -l, 2,500 symbols" lib2500
show "entgen -o -l, 10,000 symbols" lib10000
show "floor, 2,500 symbols" floor2500
show "floor, 10,000 symbols" floor10000
show "floor written whole, 10,000 symbols" whole10000
show "one symbol" one
show "empty program" empty
show "one symbol, 2,500 DIR lines" scrivet2500
show "one symbol, 10,000 DIR lines" scrivet10000
echo "  models of the 10,000-symbol run: $models; peak memory: $((peak / 1024)) MB"

# System calls of a library run beside the floor's, per symbol file.
files=$(ls "$work/lib2500/cells/sym" | wc -l)
if command -v strace >/dev/null; then
    rm -rf "$work/lib2500/cells/behv"
    (cd "$work/lib2500" && strace -f -c -o "$work/strace.entgen" "$program" -o -l cells >/dev/null 2>&1)
    rm -rf "$work/lib2500/cells/behv"
    (cd "$work/lib2500" && strace -f -c -o "$work/strace.floor" "$work/floor" cells >/dev/null 2>&1)
    (cd "$work/lib10000" && strace -f -c -o "$work/strace.one" "$program" -o "cells:$one" >/dev/null 2>&1)
    (cd "$work" && strace -f -c -o "$work/strace.empty" "$empty" >/dev/null 2>&1)
    echo "system calls per symbol file ($files files), entgen -o -l beside the floor:"
    # strace -c lines: % time, seconds, usecs/call, calls, [errors,] name.
    awk -v files="$files" '
        function take(file, which,   line, f, n) {
            while ((getline line < file) > 0) {
                n = split(line, f)
                if (n < 5 || f[1] !~ /^[0-9.]+$/ || f[n] == "total") continue
                calls[f[n], which] += f[4]; names[f[n]] = 1
                if (n == 6) errors[f[n], which] += f[5]
                total[which] += f[4]
            }
        }
        BEGIN {
            take(ARGV[1], "e"); take(ARGV[2], "f"); take(ARGV[3], "o"); take(ARGV[4], "z")
            for (s in names) if (calls[s, "e"] / files >= 0.01 || calls[s, "f"] / files >= 0.01)
                printf "  %-14s %7.2f %7.2f%s\n", s, calls[s, "e"] / files, calls[s, "f"] / files,
                    errors[s, "e"] ? sprintf("   (%.2f failed)", errors[s, "e"] / files) : ""
            printf "  %-14s %7.2f %7.2f\n", "(all)", total["e"] / files, total["f"] / files
            printf "system calls of a one-symbol run: %d, of the empty program: %d\n", total["o"], total["z"]
            ARGV[1] = ARGV[2] = ARGV[3] = ARGV[4] = ""
        }' "$work/strace.entgen" "$work/strace.floor" "$work/strace.one" "$work/strace.empty" | sort -k1,1 -s
else
    echo "strace is missing: no profile of system calls"
fi

awk -v l25="${W[lib2500]}" -v l10="${W[lib10000]}" -v f10="${W[floor10000]}" -v w10="${W[whole10000]}" \
    -v one="${W[one]}" -v empty="${W[empty]}" -v s25="${W[scrivet2500]}" -v s10="${W[scrivet10000]}" \
    -v peak="$peak" -v models="$models" '
function check(what, value, limit, unit) {
    ok = value <= limit
    printf "  %-44s %8.3f%s (at most %s%s) %s\n", what, value, unit, limit, unit, ok ? "ok" : "MISSED"
    failed += !ok
}
BEGIN {
    print "targets:"
    check("T(10,000) / T(2,500)", l10 / l25, 4.4, "")
    check("entgen / floor at 10,000 symbols", l10 / f10, 2, "")
    # What writing each file whole-or-nothing, as entgen must, costs alone.
    printf "  %-44s %8.3f (no target)\n", "floor written whole / floor at 10,000", w10 / f10
    check("one-symbol run less the empty program", one - empty, 0.5, " ms")
    # Above a run beside a list of one line: the cost of the list alone.
    check("list of 10,000 DIR lines / of 2,500", (s10 - one) / (s25 - one), 4.4, "")
    check("peak memory of the 10,000-symbol run", peak / 1024, 64, " MB")
    exit failed > 0
}'
