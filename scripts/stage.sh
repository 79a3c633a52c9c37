#!/usr/bin/env bash
# The installed layout in out/windows/stage: built, signed modules and isolate.ini. Only what changed is signed again.
source "$(dirname "$0")/common.sh"
"$ROOT/scripts/dev-signing.sh"
STAGE="$OUT/windows/stage"

# built file, profile
modules=(
    "companions/scanagent/ScanAgent.exe main"
    "tools/zebdiag/zebdiag.exe main"
)
stage() {
    mkdir -p "$STAGE/.unsigned"
    local entry built profile name
    for entry in "${modules[@]}"; do
        read -r built profile <<<"$entry"
        name=$(basename "$built")
        if [ ! -f "$STAGE/$name" ] || [ "$OUT/signing/.ready" -nt "$STAGE/$name" ] ||
            ! cmp -s "$OUT/windows/$built" "$STAGE/.unsigned/$name"; then
            "$ROOT/scripts/dev-signing.sh" "$profile" "$OUT/windows/$built" "$STAGE/$name"
            cp "$OUT/windows/$built" "$STAGE/.unsigned/$name"
        fi
    done
    printf '[isolation]\r\nsilo={6F1D2C3A-8B4E-4A57-9C60-D1E2F3A4B5C6}\r\nNative64=1\r\n' >"$STAGE/isolate.ini"
}
step "stage and sign" stage
