#!/bin/sh
# docs/languages.md shows the output of the examples, and has a row for each. Those not run are marked there and in
# their first line.
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
