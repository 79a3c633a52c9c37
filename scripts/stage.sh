#!/usr/bin/env bash
# The installed layout in out/windows/stage: built, signed modules and isolate.ini. Only what changed is signed again. And
# the registry that goes with it, for scripts/install.sh: out/install.reg.
source "$(dirname "$0")/common.sh"
"$ROOT/scripts/dev-signing.sh"
STAGE="$OUT/windows/stage"

# built file, profile
modules=(
    "companions/scanagent/ScanAgent.exe main"
    "tools/zebdiag/zebdiag.exe main"
    "shellext/server/zebshell2.dll main"
    "companions/pages/zebpages.dll main"
    "composition/modules/tsVrTrst.dll main"
    "composition/modules/tsSet.dll main"
    "composition/modules/tsQrtCtl.dll main"
)
# stage_one BUILT PROFILE NAME: NAME is relative to the stage.
stage_one() {
    local built="$OUT/windows/$1" profile=$2 name=$3
    if [ ! -f "$STAGE/$name" ] || [ "$OUT/signing/.ready" -nt "$STAGE/$name" ] ||
        ! cmp -s "$built" "$STAGE/.unsigned/$name"; then
        mkdir -p "$(dirname "$STAGE/$name")" "$(dirname "$STAGE/.unsigned/$name")"
        "$ROOT/scripts/dev-signing.sh" "$profile" "$built" "$STAGE/$name"
        cp "$built" "$STAGE/.unsigned/$name"
    fi
}
stage() {
    mkdir -p "$STAGE/.unsigned"
    local entry built profile module
    for entry in "${modules[@]}"; do
        read -r built profile <<<"$entry"
        stage_one "$built" "$profile" "$(basename "$built")"
    done
    # One folder for each language; the sources tell which, since the build folder keeps what was built before.
    for module in resources/strings/[0-9]*.rc; do
        module=$(basename "$module")
        stage_one "res/${module%%-*}/ZebShellRes.dll" main "res/${module%%-*}/ZebShellRes.dll"
    done
    local silo='{6F1D2C3A-8B4E-4A57-9C60-D1E2F3A4B5C6}'
    printf '[isolation]\r\nsilo=%s\r\nNative64=1\r\n' "$silo" >"$STAGE/isolate.ini"
    scripts/registry-map.py "$silo" >"$OUT/install.reg"
}
step "stage and sign" stage
