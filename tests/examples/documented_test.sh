#!/bin/sh
# docs/languages.md shows what the examples print, and has a row for each of them that says which are not run: those
# whose first line says so, too.
set -eu
here=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd)
cd "$here/../.."

status=0
awk '/^```/ { inside = /^```text$/; next } inside' docs/languages.md | diff -u tests/examples/expected.txt - || status=1
for example in examples/languages/zones.*; do
    row=$(grep -F "(../$example)" docs/languages.md) || row='no row'
    case $(head -n 1 "$example")::$row in
    *'Nothing here has run'*::*'**not run**'*) ;;
    *'Nothing here has run'*::* | *::*'**not run**'* | *::'no row')
        echo "$example: $row"
        status=1
        ;;
    esac
done
exit $status
