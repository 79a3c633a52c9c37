#!/usr/bin/env bash
# The benchmarks: on the host, then under Wine.
source "$(dirname "$0")/common.sh"
step "build for benchmarks" build host-release halvora_bench
"$OUT/host-release/bench/halvora_bench"
step "build for Windows" build windows zebdiag ScanAgent zebshell2 zebpages resource_modules tsVrTrst tsSet tsQrtCtl expansion_timing
scripts/stage.sh
scripts/wine-prefix.sh
scripts/install.sh
timing="$WINEPREFIX/drive_c/Program Files/Halvora/expansion_timing.exe"
cp "$OUT/windows/bench/expansion_timing.exe" "$timing"
silo=$(tr -d '\r' <"$OUT/windows/stage/isolate.ini" | sed -n 's/^silo=//p')
subkey="HKLM\\Software\\Corvane\\Isolation\\$silo\\Tessel\\PathExpansionMap\\benchsubkey"
wine reg add "$subkey" /v Path64 /d 'C:\Program Files\Halvora' /f >/dev/null
wine "$timing" | tr -d '\r'
wine reg delete "$subkey" /f >/dev/null
rm "$timing"
