#!/usr/bin/env bash
# The benchmarks: on the host, then under Wine.
source "$(dirname "$0")/common.sh"
step "build for benchmarks" build host-release halvora_bench
"$OUT/host-release/bench/halvora_bench"
step "build for Windows" build windows zebdiag ScanAgent zebshell2 zebpages resource_modules tsVrTrst tsSet tsQrtCtl \
    expansion_timing shell_timing empty_module
scripts/stage.sh
scripts/wine-prefix.sh
scripts/install.sh
installed="$WINEPREFIX/drive_c/Program Files/Halvora"
cp "$OUT/windows/bench/"{expansion_timing.exe,shell_timing.exe,empty_module.dll} "$installed/"
silo=$(tr -d '\r' <"$OUT/windows/stage/isolate.ini" | sed -n 's/^silo=//p')
subkey="HKLM\\Software\\Corvane\\Isolation\\$silo\\Tessel\\PathExpansionMap\\benchsubkey"
wine reg add "$subkey" /v Path64 /d 'C:\Program Files\Halvora' /f >/dev/null
wine "$installed/expansion_timing.exe" | tr -d '\r'
wine reg delete "$subkey" /f >/dev/null
wine "$installed/shell_timing.exe" | tr -d '\r'
# The first right-click of a process, 21 processes: loading, and the click with 10 files.
for _ in $(seq 21); do wine "$installed/shell_timing.exe" --first; done | tr -d '\r' | sort -n -k 2 |
    awk 'NR == 11 { printf "%-44s %10.1f\n%-44s %10.1f\n", "first: loading zebshell2.dll", $1, "first: right-click, 10 files", $2 }'
rm "$installed/"{expansion_timing.exe,shell_timing.exe,empty_module.dll}
