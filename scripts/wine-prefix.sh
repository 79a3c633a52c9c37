#!/usr/bin/env bash
# Makes the project's own Wine prefix, once.
source "$(dirname "$0")/common.sh"
[ -f "$WINEPREFIX/.halvora-ready" ] && exit 0
make_prefix() {
    rm -rf "$WINEPREFIX"
    wineboot -i
    winecfg -v win10  # Wine says Windows 7 by itself
    settle_wine
    touch "$WINEPREFIX/.halvora-ready"
}
step "wine prefix" make_prefix
