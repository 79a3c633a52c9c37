#!/usr/bin/env bash
# Installs the staged product into the project's Wine prefix: files under C:\Program Files\Halvora, isolate.ini, and the
# registry map of its folders and components. Running it again mends whatever was changed there.
source "$(dirname "$0")/common.sh"
STAGE="$OUT/windows/stage"
TARGET="$WINEPREFIX/drive_c/Program Files/Halvora"
install_product() {
    rm -rf "$TARGET"
    mkdir -p "$TARGET"
    cp "$STAGE"/*.exe "$STAGE/isolate.ini" "$TARGET/"
    find "$STAGE" -maxdepth 1 -name '*.dll' -exec cp {} "$TARGET/" \;
    cp -r "$STAGE/res" "$TARGET/"
    wine regedit /S "$(windows_path "$OUT/install.reg")"
}
step "install in the prefix" install_product
