#!/usr/bin/env bash
# Signed, tampered and unsigned sample files for the tests.
#
#   samples.sh           in out/samples/
#   samples.sh wine10    and in out/wine10/samples/, with the catalogs that the newer Wine needs
source "$(dirname "$0")/common.sh"
"$ROOT/scripts/dev-signing.sh"
SAMPLES="$OUT/samples"
BUILT="$OUT/windows/tests/samples"
EXE="$BUILT/sample.exe"
DLL="$BUILT/component.dll"
sign() { "$ROOT/scripts/dev-signing.sh" "$@"; }
# catalogs FOLDER KIND PREFIX...: lists the unsigned file in catalogs of that kind, by the hash that the Wine which the
# prefix runs makes of it. No Wine can enumerate a catalog with a newer digest (docs/platform.md).
catalogs() {
    local folder=$1 kind=$2
    "${@:3}" wine "$BUILT/make-catalog.exe" "$(windows_path "$SAMPLES/unsigned.exe")" \
        "$(windows_path "$folder/unsigned$kind.cat")" ${kind:+sha256}
    local profile
    for profile in main other; do
        HALVORA_SIGN_DIGEST=sha1 sign $profile "$folder/unsigned$kind.cat" "$folder/$profile$kind.cat"
    done
}
make_wine10_samples() {
    rm -rf "$OUT/wine10/samples"
    cp -r "$SAMPLES" "$OUT/wine10/samples"
    catalogs "$OUT/wine10/samples" "" scripts/wine10.sh
    catalogs "$OUT/wine10/samples" -sha256 scripts/wine10.sh
}
if [ "${1:-}" = wine10 ]; then
    "$0"
    step "samples for the newer Wine" make_wine10_samples
    exit
fi
fresh() {
    [ -f "$SAMPLES/.ready" ] || return 1
    local input
    for input in "$BUILT"/*.exe "$BUILT"/*.dll "$OUT/signing/.ready" "$0"; do
        [ ! "$input" -nt "$SAMPLES/.ready" ] || return 1
    done
}
! fresh || exit 0
"$ROOT/scripts/wine-prefix.sh"

# tamper FROM TO: one byte of the code changed; the signature stays where it is.
tamper() {
    cp "$1" "$2"
    printf '\xA5' | dd of="$2" bs=1 seek=1100 conv=notrunc status=none
    cmp -s "$1" "$2" && printf '\x5A' | dd of="$2" bs=1 seek=1100 conv=notrunc status=none
    ! cmp -s "$1" "$2"
}
make_samples() {
    rm -rf "$SAMPLES"
    mkdir -p "$SAMPLES"
    cp "$EXE" "$SAMPLES/unsigned.exe"
    sign main "$EXE" "$SAMPLES/good.exe"
    sign main "$DLL" "$SAMPLES/good.dll"
    sign second "$EXE" "$SAMPLES/second.exe"
    sign other "$EXE" "$SAMPLES/other-names.exe"
    sign other "$DLL" "$SAMPLES/other-names.dll"
    sign unit "$EXE" "$SAMPLES/unit.exe"
    sign driver "$EXE" "$SAMPLES/driver.sys"
    sign system "$EXE" "$SAMPLES/system.exe"
    sign no-usage "$EXE" "$SAMPLES/no-usage.exe"
    sign legacy "$EXE" "$SAMPLES/legacy.exe"
    tamper "$SAMPLES/good.exe" "$SAMPLES/tampered.exe"
    tamper "$SAMPLES/good.dll" "$SAMPLES/tampered.dll"
    cp "$SAMPLES/good.dll" "$SAMPLES/component.dll"
    local name
    for name in hostile no-strings long-strings; do sign main "$BUILT/$name.dll" "$SAMPLES/$name.dll"; done
    tamper "$EXE" "$SAMPLES/changed.exe"
    catalogs "$SAMPLES" ""
    touch "$SAMPLES/.ready"
}
step "signed samples" make_samples
