#!/usr/bin/env bash
# zebdiag as ./demo.sh installed it in the project's Wine prefix, with the caller's current folder.
caller=$PWD
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
program="$WINEPREFIX/drive_c/Program Files/Halvora/zebdiag.exe"
[ -f "$program" ] || die "zebdiag is not installed yet: run ./demo.sh first"
cd "$caller"
exec wine "$program" "$@"
