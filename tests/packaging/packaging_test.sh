#!/usr/bin/env bash
# The program as a designer gets it.
#   packaging_test.sh install BUILD   installed under a staging prefix
#   packaging_test.sh deb BUILD       unpacked from the Debian package
#   packaging_test.sh man PAGE        the manual page renders without warnings
# An installed program must hold every support file of the build and
# translate the example library it ships with an empty environment, also
# through a link on the PATH; a KDIR that is set must govern the search alone.
set -euo pipefail

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

mode=$1
if [ "$mode" = man ]; then
    warnings=$(groff -ww -man -Tutf8 -z "$2" 2>&1) || fail "groff cannot render $2"
    [ -z "$warnings" ] || fail "groff warns about $2:"$'\n'"$warnings"
    exit 0
fi

build=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
case $mode in
install)
    cmake --install "$build" --prefix "$tmp/root/usr" >/dev/null
    ;;
deb)
    cpack --config "$build/CPackConfig.cmake" -G DEB -B "$tmp/pkg" >/dev/null
    dpkg-deb -x "$tmp"/pkg/entgen_*.deb "$tmp/root"
    ;;
*) fail "unknown mode $mode" ;;
esac
usr=$tmp/root/usr

diff -r -x '*.err' "$build/share/entgen" "$usr/share/entgen" || fail "support files differ from the build's"
zcat "$usr/share/man/man1/entgen.1.gz" | grep -q '^\.TH ENTGEN 1' || fail "no manual page"

cp -R "$usr/share/doc/entgen/examples" "$tmp/work"
cd "$tmp/work"
env -i "$usr/bin/entgen" -o -l cells >"$tmp/log" 2>&1 || fail "library run, status $?: $(cat "$tmp/log")"
for sym in cells/sym/*.1; do
    base=${sym##*/}
    base=${base%.1}
    grep -q "^entity ${base^^} is" "cells/behv/$base.vhd" || fail "no model of $sym"
done

mkdir "$tmp/path"
ln -s "$usr/bin/entgen" "$tmp/path/entgen"
env -i PATH="$tmp/path:/usr/bin:/bin" entgen -o -d "$tmp/out dir" cells:and2 >"$tmp/log" 2>&1 ||
    fail "run through the PATH, status $?: $(cat "$tmp/log")"
[ -s "$tmp/out dir/and2.vhd" ] || fail "the output directory argument did not arrive whole"

mkdir "$tmp/empty"
status=0
env -i KDIR="$tmp/empty" "$usr/bin/entgen" -o cells:and2 >"$tmp/log" 2>&1 || status=$?
[ "$status" -eq 3 ] || fail "a KDIR without the message files gave status $status, not 3"
echo "installed program: passed"
