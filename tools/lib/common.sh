# Shared by the tools: sourced, not run. Sets `root` and leaves the shell there.
set -eu
root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
cd "$root"

# Says what happens next.
step() { printf '\n== %s\n' "$*"; }

# Ends with a message.
die() {
    printf '%s: %s\n' "$(basename -- "$0")" "$*" >&2
    exit 1
}

# wine PREFIX PROGRAM [ARGUMENT...]: see tools/lib/wine.
wine() { "$root/tools/lib/wine" "$@"; }
