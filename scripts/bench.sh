#!/usr/bin/env bash
# The benchmarks.
#
#   bench.sh                    on the host, then under Wine; the table of the library in a shell host is then also in
#                               out/bench/, as shell.json and shell.svg
#   bench.sh shell [PART...]    that table alone, or parts of it (such as "clicks"), and no files
source "$(dirname "$0")/common.sh"
FOLDER="$WINEPREFIX/drive_c/Program Files/Halvora/bench"

install_bench() {
    rm -rf "$FOLDER"
    mkdir -p "$FOLDER"
    cp "$OUT/windows/bench/"{expansion_timing.exe,shell_timing.exe,empty_module.dll} "$FOLDER/"
    scripts/dev-signing.sh main "$OUT/windows/bench/start_stamp.exe" "$FOLDER/ScanAgent.exe"
}
# Run in its own folder, without the carriage returns.
timing() { (cd "$FOLDER" && wine "$@" | tr -d '\r'); }

if [ "${1:-all}" = all ]; then
    step "build for benchmarks" build host-release halvora_bench
    "$OUT/host-release/bench/halvora_bench"
elif [ "$1" != shell ]; then
    die "usage: bench.sh [shell [PART...]]"
fi
step "build for Windows" build windows zebdiag ScanAgent zebshell2 zebpages resource_modules tsVrTrst tsSet tsQrtCtl \
    expansion_timing shell_timing start_stamp empty_module
scripts/stage.sh
scripts/wine-prefix.sh
scripts/install.sh
trap 'rm -rf "$FOLDER"' EXIT
step "install the benchmarks" install_bench
if [ "${1:-all}" = shell ]; then
    timing shell_timing.exe "${@:2}"
    exit
fi
silo=$(tr -d '\r' <"$OUT/windows/stage/isolate.ini" | sed -n 's/^silo=//p')
subkey="HKLM\\Software\\Corvane\\Isolation\\$silo\\Tessel\\PathExpansionMap\\benchsubkey"
wine reg add "$subkey" /v Path64 /d 'C:\Program Files\Halvora' /f >/dev/null
timing expansion_timing.exe
wine reg delete "$subkey" /f >/dev/null
mkdir -p "$OUT/bench"
timing shell_timing.exe --json "$(windows_path "$OUT/bench/shell.json")"
scripts/plot-bench.py "$OUT/bench/shell.json" "$OUT/bench/shell.svg"
