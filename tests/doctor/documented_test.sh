#!/bin/sh
# docs/doctor.md lists exactly the findings, with their severities: documented_test.sh SOURCE_DIR
set -eu
cd "$1"
defined=$(sed -n 's/.*{FindingId::[^,]*, "\([^"]*\)", Severity::\([a-z]*\),$/\1 \2/p' doctor/findingtable.cpp)
listed=$(sed -n 's/^| `\([a-z0-9-]*\)` | \([a-z]*\) | .*/\1 \2/p' docs/doctor.md)
[ -n "$defined" ]
[ "$defined" = "$listed" ] || {
    printf 'The table of findings has:\n%s\nThe page lists:\n%s\n' "$defined" "$listed"
    exit 1
}
