#!/usr/bin/env bash
# Packs what somebody with a Windows machine needs to try the product there: out/windows/halvora-platform-kit-<version>.zip.
# The same inputs give the same bytes. docs/platform-kit.md says what is in it and what it does.
source "$(dirname "$0")/common.sh"
version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
packed="halvora-platform-kit-$version"
pack() {
    build windows
    scripts/samples.sh
    scripts/stage.sh
    local kit="$OUT/windows/kit/$packed" stage="$OUT/windows/stage"
    rm -rf "$OUT/windows/kit" "$OUT/windows/$packed.zip"
    mkdir -p "$kit/stage/.unsigned/res/1033"
    cp "$OUT"/windows/tests/halvora_{wine,alone}_tests.exe "$OUT/windows/tools/platformkit/platformkit.exe" "$kit"
    cp -r "$OUT/samples" "$kit/samples"
    cp -r "$stage"/*.dll "$stage"/*.exe "$stage/isolate.ini" "$stage/res" "$kit/stage"
    cp "$stage/.unsigned/res/1033/ZebShellRes.dll" "$kit/stage/.unsigned/res/1033"
    openssl x509 -in "$OUT/signing/ca.pem" -outform DER -out "$kit/test-root.cer"
    sed 's/$/\r/' tools/platformkit/run.cmd >"$kit/run.cmd"
    sed 's/$/\r/' docs/platform-kit.md >"$kit/README.md"
    rm "$kit/samples/.ready"
    cd "$OUT/windows/kit"
    find . -exec touch -h -d '2000-01-01 00:00:00 UTC' {} +
    find "$packed" -type f | LC_ALL=C sort | TZ=UTC zip -q -X -9 "$OUT/windows/$packed.zip" -@
}
step "platform kit $version" pack
