#!/usr/bin/env bash
# Installs the staged product into the project's Wine prefix: files under C:\Program Files\Halvora, isolate.ini, and the
# registry map of its folders and components. Running it again mends whatever was changed there.
source "$(dirname "$0")/common.sh"
STAGE="$OUT/windows/stage"
TARGET="$WINEPREFIX/drive_c/Program Files/Halvora"
SILO=$(tr -d '\r' <"$STAGE/isolate.ini" | sed -n 's/^silo=//p')

registry_script() {
    local instance="HKEY_LOCAL_MACHINE\\Software\\Corvane\\Isolation\\$SILO"
    local root='C:\\Program Files\\Halvora'
    printf 'Windows Registry Editor Version 5.00\r\n\r\n[%s]\r\n' "$instance\\Tessel\\PathExpansionMap"
    local entry
    for entry in "INSTALLDIR=$root" "TSROOTX64=$root" "BASEDIR=%INSTALLDIR%" "HVRLOGDIR=%TSDATA%\\\\Logs" \
        "HVRCONFIGDIR=%TSDATA%\\\\Config" "HVRSTATEDIR=%TSDATA%\\\\State" "HVRFEATURESTATEDIR=%HVRSTATEDIR%\\\\Features" \
        "HVRRESDLLDIR=%INSTALLDIR%\\\\res" "HVRDRIVERDIR=%INSTALLDIR%\\\\Drivers" "TSDATA=%COMMON_SILO_DATA%" \
        "APPDATA=%CSIDL_COMMON_APPDATA%\\\\Halvora" "VANEPLATFORMENGINE=%INSTALLDIR%\\\\Engine" "APPDATAEXTENSION=Corvane"; do
        printf '"%s"="%s"\r\n' "${entry%%=*}" "${entry#*=}"
    done
    # Components by object id: protection control, trust verifier, settings store. The last two are also found without
    # this, at their fixed place.
    for entry in "{3FBFA03C-4417-4069-AEB4-19A75A170744}=tsQrtCtl" "{17C9B88B-8B72-4F4E-AC70-DE0BDF8AC9FB}=tsVrTrst" \
        "{4F3E0BE1-5FE1-4C22-859B-A6FB7586B828}=tsSet"; do
        printf '\r\n[%s]\r\n"InProc64"="%%TSROOTX64%%\\\\%s.dll"\r\n' "$instance\\OBJID\\${entry%%=*}" "${entry#*=}"
    done
    # Where the language modules are, and that scans from the context menu are allowed (every number but 5134).
    printf '\r\n[%s]\r\n"Home Directory"="%s"\r\n"Orientation"=dword:00000001\r\n' \
        'HKEY_LOCAL_MACHINE\Software\Corvane\Halvora\AV' "$root"
}
install_product() {
    rm -rf "$TARGET"
    mkdir -p "$TARGET"
    cp "$STAGE"/*.exe "$STAGE/isolate.ini" "$TARGET/"
    find "$STAGE" -maxdepth 1 -name '*.dll' -exec cp {} "$TARGET/" \;
    cp -r "$STAGE/res" "$TARGET/"
    local script="$OUT/install.reg"
    registry_script >"$script"
    wine regedit /S "$(windows_path "$script")"
}
step "install in the prefix" install_product
