#!/usr/bin/env bash
# A whole-library run over a generated library (symgen, its fixed seed)
# writes the same models, identifier lists and reports, and says the same
# on its output and error streams, as the stored copy.
#
#   library_output_test.sh entgen symgen stored-copy [--update]
#
# --update writes the stored copy instead of comparing with it.
set -euo pipefail
export LC_ALL=C
entgen=$(realpath "$1") symgen=$2 stored=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$symgen" 40 "$work/lib"
echo "LIST_IDENTIFIERS translated" >>"$work/lib/entgen.ini"
status=0
(cd "$work/lib" && "$entgen" -o -l cells >"$work/stdout" 2>"$work/stderr") || status=$?

# Every file the run wrote, in a fixed order, each under its name.
{
    echo "==> exit status $status <=="
    for f in "$work/stdout" "$work/stderr" "$work/lib/rd520.err" "$work"/lib/cells/behv/*; do
        echo "==> ${f#"$work"/} <=="
        cat "$f"
    done
} >"$work/output"

if [ "${4:-}" = --update ]; then
    cp "$work/output" "$stored"
elif ! diff -u "$stored" "$work/output" >"$work/diff"; then
    head -80 "$work/diff"
    exit 1
fi
