# Sourced by the tools. Sets `root` to the repository and changes to it.
set -eu
root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
cd "$root"

# Announces the next step.
step() { printf '\n== %s\n' "$*"; }

# Prints an error message and exits.
die() {
    printf '%s: %s\n' "$(basename -- "$0")" "$*" >&2
    exit 1
}

# wine PREFIX PROGRAM [ARGUMENT...]: see tools/lib/wine.
wine() { "$root/tools/lib/wine" "$@"; }
