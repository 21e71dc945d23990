#!/bin/sh
# README.md shows what examples/columns.vbs prints: readme_test.sh PREFIX, a Wine prefix in which the DLL is registered.
set -eu
here=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd)
cd "$here/../.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
NUVOLEX_TEST=1 tools/lib/wine "$1" cscript //nologo "Z:$PWD/examples/columns.vbs" | sed 's/\r$//' >"$work/printed"
# The block that begins with the first line printed.
awk -v first="$(head -n 1 "$work/printed")" '/^```/ { inside = 0 } $0 == first { inside = 1 } inside' README.md \
    >"$work/shown"
[ -s "$work/shown" ] && diff -u "$work/shown" "$work/printed"
