#!/usr/bin/env bash
# The type library is reproducible: compiles the contract again, later than the build did, and compares the bytes.
# Usage: typelib_reproducible_test.sh BUILT.tlb CONTRACT.idl FIX_TIME.pl WIDL [OPTION...]
set -eu
built=$1
contract=$2
fix_time=$3
shift 3

again=$(mktemp)
trap 'rm -f "$again"' EXIT
sleep 1 # the compiler notes whole seconds
"$@" -t -o "$again" "$contract"
perl "$fix_time" "$again"
cmp "$built" "$again"
