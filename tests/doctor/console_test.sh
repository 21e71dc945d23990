#!/bin/sh
# The doctor prints letters of any script to a console: console_test.sh WINE PREFIX DOCTOR
#
# `script` gives Wine a terminal, so that the doctor has a console. Its output is full of control sequences, some of
# which stand for blanks.
set -eu
wine=$1 prefix=$2 doctor=$3
unset NUVOLEX_TEST # with it, the output would go to a file
shown=$(script -qec "'$wine' '$prefix' '$doctor' 'Größe-Δοκιμή'" /dev/null </dev/null |
    sed 's/\x1b\[[0-9;?]*[a-zA-Z]//g' | tr -d ' \r') || true
case $shown in
*Unknownargument:Größe-Δοκιμή*) echo 'The letters arrived.' ;;
*)
    printf 'The console showed: %s\n' "$shown"
    exit 1
    ;;
esac
