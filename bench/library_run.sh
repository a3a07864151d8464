#!/usr/bin/env bash
# Cost of a whole-library run against the number of symbols. Makes a
# library of generated symbols (comments, generics, a constant, an import,
# pins of bus and scalar names, pin attributes, a name of its own for each
# symbol) in a temporary directory, translates it with `entgen -o -l`, and
# gives the processor time of the best of a few runs for each size. The work grows with the
# symbols, so a run of four times the symbols should cost about four times
# as much; the script fails when the largest run costs more than LIMIT
# times the smallest in proportion.
#
#   bench/library_run.sh [entgen] [sizes...]
#   defaults: build/bin/entgen, sizes 500 2000; LIMIT (4.4) and REPEAT (5)
#   from the environment, and BENCH_TMP for the directory to work in
#   (/dev/shm). KDIR defaults to the build's support directory.
set -euo pipefail
cd "$(dirname "$0")/.."

program=$(realpath "${1:-build/bin/entgen}")
shift || true
sizes=("$@")
[ ${#sizes[@]} -eq 0 ] && sizes=(500 2000)
limit=${LIMIT:-4.4}
repeat=${REPEAT:-5}
export KDIR=${KDIR:-$(realpath build/share/entgen)}

# In memory where it can be: on a disk file system the creation of
# thousands of files costs the kernel more than the translation does, and
# that cost grows with what the directories held before.
tmp=${BENCH_TMP:-/dev/shm}
[ -d "$tmp" ] && [ -w "$tmp" ] || tmp=${TMPDIR:-/tmp}
work=$(mktemp -d "$tmp/entgen-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT

# One symbol file; $1 is its number.
symbol() {
    cat <<EOF
V 5
Y 1
U 0 0 8 0 1 0 VHDL_COM_1=cell $1 of the generated library
U 0 0 8 0 1 0 PART=P$1
U 0 0 8 0 1 0 REFDES=U?
U 0 0 8 0 1 0 VHDL_GEN_TPD=TIME:=$(($1 % 50))
U 0 0 8 0 1 0 VHDL_CON_WIDTH=INTEGER:=8
U 0 0 8 0 1 0 VHDL_IMPORT_IEEE=LIBRARY
P 1 0 0 0 0 1
L 1 0 0 8 0 1 0 0 CLK
A 1 0 8 0 1 0 PINTYPE=IN
A 1 0 8 0 1 0 LOAD=2
P 1 0 0 0 0 1
L 1 0 1 8 0 1 0 0 D[7:0]
A 1 0 8 0 1 0 PINTYPE=IN
P 1 0 0 0 0 1
L 1 0 2 8 0 1 0 0 Q$1[7:0]
A 1 0 8 0 1 0 PINTYPE=OUT
P 1 0 0 0 0 1
L 1 1 3 8 0 1 0 0 RESET
A 1 0 8 0 1 0 PINTYPE=IN
E
EOF
}

# Makes the library of $1 symbols in directory $2.
library() {
    mkdir -p "$2/cells/sym"
    echo "DIR [p] ./cells (cells)" >"$2/scrivet.ini"
    echo "ENTGEN 5.3.1" >"$2/entgen.ini"
    for ((i = 0; i < $1; i++)); do symbol "$i" >"$2/cells/sym/cell$i.1"; done
}

# Processor seconds (user and system) of the best of $repeat runs in
# directory $1: other work on the machine changes the wall time of a run
# far more than the run's own.
best() {
    local min="" t
    for ((r = 0; r < repeat; r++)); do
        rm -rf "$1/cells/behv"
        t=$( { TIMEFORMAT='%3U %3S'; time (cd "$1" && "$program" -o -l cells >/dev/null 2>&1) ; } 2>&1 ) ||
            { echo "run failed in $1" >&2; exit 1; }
        t=$(awk -v t="$t" 'BEGIN { split(t, f, " "); printf "%.3f", f[1] + f[2] }')
        if [ -z "$min" ] || awk -v a="$t" -v b="$min" 'BEGIN { exit !(a < b) }'; then min=$t; fi
    done
    echo "$min"
}

declare -A seconds
for n in "${sizes[@]}"; do
    library "$n" "$work/lib$n"
    seconds[$n]=$(best "$work/lib$n")
    models=$(find "$work/lib$n/cells/behv" -name '*.vhd' | wc -l)
    printf "%6d symbols: %8.3f s, %6.2f ms a symbol (%d models)\n" "$n" "${seconds[$n]}" \
        "$(awk -v s="${seconds[$n]}" -v n="$n" 'BEGIN { print s * 1000 / n }')" "$models"
done

small=${sizes[0]}
large=${sizes[${#sizes[@]} - 1]}
awk -v a="${seconds[$small]}" -v b="${seconds[$large]}" -v m="$small" -v n="$large" -v limit="$limit" '
BEGIN {
    ratio = b / a
    allowed = limit * n / m / 4
    printf "%d symbols cost %.2f times %d symbols (at most %.2f allowed)\n", n, ratio, m, allowed
    exit ratio > allowed
}'
