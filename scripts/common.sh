# Shared by the scripts; source it. Progress lines go to stdout, the noise of a step to out/log/<step>.log, which is
# shown only when the step fails.
set -euo pipefail
# Wine gives up a program whose heap the kernel has put where Windows has the page that all programs share: one start in
# some 2,000, and thousands are started here. Without random addresses the heap ends below it. So the command begins once
# more without them; where that is not allowed, as in some containers, the odds stay.
if ! ((16#$(cat /proc/self/personality 2>/dev/null || echo 40000) & 16#40000)) && setarch -R true 2>/dev/null; then
    mapfile -d '' -t words <"/proc/$$/cmdline"
    exec setarch -R "${words[@]}"
fi
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# What another compiler makes for Windows, and what is tried with it, lies in a folder of its own.
OUT="$ROOT/out${HALVORA_COMPILER:+/$HALVORA_COMPILER}"
LOG="$OUT/log"
mkdir -p "$LOG"
cd "$ROOT"

say() { printf '%s\n' "$*"; }
die() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# step NAME COMMAND...: runs the command with its output in a log.
step() {
    local name=$1 start=$SECONDS
    shift
    printf '  %-34s' "$name"
    local log="$LOG/${name//[^A-Za-z0-9]/-}.log"
    # In the background, because a shell function that is a condition goes on after a command that fails.
    "$@" >"$log" 2>&1 </dev/null &
    if wait $!; then
        printf 'ok (%d s)\n' $((SECONDS - start))
    else
        local code=$?
        printf 'FAILED\n'
        tail -n "${HALVORA_LOG_LINES:-60}" "$log" >&2
        die "'$name' failed with exit code $code; the whole output is in ${log#"$ROOT"/}"
    fi
}

# build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    [ -f "$OUT/${preset%-"${HALVORA_COMPILER:-}"}/build.ninja" ] || cmake --preset "$preset"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}

# Wine with a prefix of the project's own, no display, no crash dialog.
export WINEPREFIX="${HALVORA_WINEPREFIX:-$OUT/wine}"
export WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="winedbg.exe=d;mscoree=d;mshtml=d"
export LC_ALL=C.UTF-8
unset DISPLAY

# Waits for the prefix's programs to end, and ends what does not: the console helper of a program that a test killed
# would keep a wait for ever.
settle_wine() { timeout 20 wineserver -w || wineserver -k || true; }

# The Windows form of a host path, as Wine maps it.
windows_path() { printf 'Z:%s' "$(realpath -m "$1" | tr '/' '\\')"; }
