# Shared by the scripts of this folder; source it from bash.
#
# Nothing outside the build folder, the cache folder and ccache's own folder is written, but for the packages that
# scripts/setup installs.

PASSBRIDGE_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
PASSBRIDGE_BUILD=${PASSBRIDGE_BUILD:-$PASSBRIDGE_ROOT/build}
PASSBRIDGE_CACHE=${PASSBRIDGE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/passbridge}
PASSBRIDGE_JOBS=${PASSBRIDGE_JOBS:-$(nproc)}
# The build takes the cache folder from the environment, too: both must agree.
export PASSBRIDGE_CACHE
# Objects compiled in one clone serve the next one, wherever it lies.
export CCACHE_BASEDIR=$PASSBRIDGE_ROOT CCACHE_NOHASHDIR=1

say() { printf '== %s\n' "$*" >&2; }

die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# retry COMMAND...: up to four attempts with growing pauses, for what depends on a network.
retry() {
  local attempt
  for attempt in 1 2 3; do
    "$@" && return 0
    say "attempt $attempt failed, trying again: $*"
    sleep $((attempt * 5))
  done
  "$@"
}

# as_root COMMAND...: as it is for root, else through sudo.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    die "must be root, or have sudo, for: $*"
  fi
}

# ensure_setup: installs what is missing; returns within a second when nothing is.
ensure_setup() { "$PASSBRIDGE_ROOT/scripts/setup"; }

# build_dir PRESET: where a preset is built.
build_dir() { printf '%s/%s\n' "$PASSBRIDGE_BUILD" "$1"; }

# configure_preset PRESET: prints only if it fails.
configure_preset() {
  local dir
  dir=$(build_dir "$1")
  mkdir -p "$dir"
  (cd "$PASSBRIDGE_ROOT" && cmake --preset "$1" -B "$dir" >"$dir/configure.log" 2>&1) || {
    cat "$dir/configure.log" >&2
    return 1
  }
}

# build_preset PRESET [TARGET...]: configures and builds (everything, or only the targets).
build_preset() {
  local preset=$1
  shift
  configure_preset "$preset" || return 1
  cmake --build "$(build_dir "$preset")" -j "$PASSBRIDGE_JOBS" ${1:+--target "$@"}
}

# runs_32bit_code: whether this machine does; some virtual machines have no 32-bit mode.
runs_32bit_code() {
  local program status=0
  program=$(mktemp)
  printf 'void _start(void) { __asm__("int $0x80" : : "a"(1), "b"(0)); }' |
    gcc -m32 -nostdlib -static -x c - -o "$program" && "$program" 2>/dev/null || status=1
  rm -f "$program"
  return "$status"
}

# on_target PRESET COMMAND...: as it is, or in the VM if the preset's programs cannot run on this machine.
on_target() {
  local preset=$1 prefix
  shift
  if [ "$preset" != windows-x86 ] || runs_32bit_code; then
    "$@"
  else
    prefix=$(build_dir "$preset")/wine
    "$PASSBRIDGE_ROOT/scripts/setup" vm && "$PASSBRIDGE_ROOT/scripts/run-under-wine" "$prefix" &&
      "$PASSBRIDGE_ROOT/scripts/run-in-vm" "$prefix" "$@"
  fi
}

# test_preset PRESET [CTEST ARGUMENT...]: runs the tests of a preset that was built. In the VM, which may stand still for
# a moment while a simulated bus goes on, a test that failed has a second try; ctest says so.
test_preset() {
  local preset=$1
  shift
  [ "$preset" != windows-x86 ] || runs_32bit_code || set -- --repeat until-pass:2 "$@"
  on_target "$preset" ctest --test-dir "$(build_dir "$preset")" --output-on-failure --no-tests=error \
    -j "$PASSBRIDGE_JOBS" "$@"
}

# run_under_wine x64|x86 PROGRAM [ARGUMENT...]: in the Wine prefix of that target's build.
run_under_wine() {
  local preset=windows-$1
  shift
  on_target "$preset" "$PASSBRIDGE_ROOT/scripts/run-under-wine" "$(build_dir "$preset")/wine" "$@"
}

# list_sources: every C and C++ source of the project that git tracks or would track.
list_sources() {
  git -C "$PASSBRIDGE_ROOT" ls-files --cached --others --exclude-standard -- '*.h' '*.c' '*.cpp' |
    while IFS= read -r file; do [ ! -e "$PASSBRIDGE_ROOT/$file" ] || printf '%s\n' "$file"; done
}
