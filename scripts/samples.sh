#!/usr/bin/env bash
# Signed, tampered and unsigned sample files for the tests: out/samples/.
source "$(dirname "$0")/common.sh"
"$ROOT/scripts/dev-signing.sh"
SAMPLES="$OUT/samples"
BUILT="$OUT/windows/tests/samples"
EXE="$BUILT/sample.exe"
DLL="$BUILT/component.dll"
sign() { "$ROOT/scripts/dev-signing.sh" "$@"; }
# catalog KIND DIGEST: lists the unsigned file in catalogs of that kind. No Wine can enumerate a catalog that is signed
# with a newer digest (docs/platform.md).
catalog() {
    scripts/make-catalog.py "$2" "$SAMPLES/unsigned.exe" "$SAMPLES/unsigned$1.cat"
    local profile
    for profile in main other; do
        HALVORA_SIGN_DIGEST=sha1 sign $profile "$SAMPLES/unsigned$1.cat" "$SAMPLES/$profile$1.cat"
    done
}
fresh() {
    [ -f "$SAMPLES/.ready" ] || return 1
    local input
    for input in "$BUILT"/*.exe "$BUILT"/*.dll "$OUT/signing/.ready" "$0" scripts/make-catalog.py; do
        [ ! "$input" -nt "$SAMPLES/.ready" ] || return 1
    done
}
! fresh || exit 0

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
    catalog "" sha1
    catalog -sha256 sha256
    touch "$SAMPLES/.ready"
}
step "signed samples" make_samples
