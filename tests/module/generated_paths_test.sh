#!/bin/sh
# No generated file contains the path of the source or build tree.
# Usage: generated_paths_test.sh SOURCE_TREE BUILD_TREE FILE...
set -eu
source=$1
build=$2
shift 2
[ $# -gt 0 ] || { echo 'no files given' >&2; exit 1; }

failed=0
for file; do
    if [ ! -s "$file" ]; then
        echo "$file: missing or empty" >&2
        failed=1
        continue
    fi
    for tree in "$source" "$build"; do
        # Without NULs, UTF-16 text is found too.
        if tr -d '\0' <"$file" | tr '\134' / | grep -aqF -- "$tree"; then
            echo "$file: contains the path $tree" >&2
            failed=1
        fi
    done
done
exit "$failed"
