#!/usr/bin/env bash
# zebdiag of the staged product, put into the project's Wine prefix, with the caller's current folder.
caller=$PWD
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
program="$WINEPREFIX/drive_c/Program Files/Halvora/zebdiag.exe"
[ -f "$OUT/windows/stage/zebdiag.exe" ] || die "there is no staged product yet: run ./demo.sh first"
[ -f "$program" ] || scripts/install.sh >&2
cd "$caller"
exec wine "$program" "$@"
