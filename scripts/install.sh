#!/usr/bin/env bash
# Installs the staged product into the project's Wine prefix: files under C:\Program Files\Halvora, isolate.ini, and the
# registry map of its folders. Running it again mends whatever was changed there.
source "$(dirname "$0")/common.sh"
STAGE="$OUT/windows/stage"
TARGET="$WINEPREFIX/drive_c/Program Files/Halvora"
SILO=$(tr -d '\r' <"$STAGE/isolate.ini" | sed -n 's/^silo=//p')

registry_script() {
    local map="HKEY_LOCAL_MACHINE\\Software\\Corvane\\Isolation\\$SILO\\Tessel\\PathExpansionMap"
    local root='C:\\Program Files\\Halvora'
    printf 'Windows Registry Editor Version 5.00\r\n\r\n[%s]\r\n' "$map"
    local entry
    for entry in "INSTALLDIR=$root" "TSROOTX64=$root" "BASEDIR=%INSTALLDIR%" "HVRLOGDIR=%TSDATA%\\\\Logs" \
        "HVRCONFIGDIR=%TSDATA%\\\\Config" "HVRSTATEDIR=%TSDATA%\\\\State" "HVRFEATURESTATEDIR=%HVRSTATEDIR%\\\\Features" \
        "HVRRESDLLDIR=%INSTALLDIR%\\\\res" "HVRDRIVERDIR=%INSTALLDIR%\\\\Drivers" "TSDATA=%COMMON_SILO_DATA%" \
        "APPDATA=%CSIDL_COMMON_APPDATA%\\\\Halvora" "VANEPLATFORMENGINE=%INSTALLDIR%\\\\Engine" "APPDATAEXTENSION=Corvane"; do
        printf '"%s"="%s"\r\n' "${entry%%=*}" "${entry#*=}"
    done
}
install_product() {
    rm -rf "$TARGET"
    mkdir -p "$TARGET"
    cp "$STAGE"/*.exe "$STAGE/isolate.ini" "$TARGET/"
    find "$STAGE" -maxdepth 1 -name '*.dll' -exec cp {} "$TARGET/" \;
    local script="$OUT/install.reg"
    registry_script >"$script"
    wine regedit /S "$(windows_path "$script")"
}
step "install in the prefix" install_product
