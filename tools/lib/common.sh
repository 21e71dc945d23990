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

# compile PRESET [TARGET...]: builds targets of a configured preset, by default all. Prints only errors. One at a time,
# since Ninja does not lock its folder.
compile() (
    preset=$1
    shift
    log=$(flock "build/$preset.lock" cmake --build --preset "$preset" ${1:+--target "$@"} 2>&1) || die "$log"
)

# wine PREFIX PROGRAM [ARGUMENT...]: see tools/lib/wine.
wine() { "$root/tools/lib/wine" "$@"; }
