#!/usr/bin/env bash
# Makes the installer of the staged product: out/windows/halvora-shell-<version>-x64.msi, signed with the development chain.
#
#   package.sh                         of the project's version
#   package.sh VERSION FOLDER OUTPUT   of another one, from files staged elsewhere
source "$(dirname "$0")/common.sh"
version=${1:-$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)}
STAGE=${2:-$OUT/windows/stage}
msi=${3:-$OUT/windows/halvora-shell-$version-x64.msi}
SETUP="$OUT/windows/installer/zebsetup.exe"
MADE="$OUT/windows/installer/made"

# The same for the same name, always.
guid() { python3 -c 'import sys, uuid; print(str(uuid.uuid5(uuid.NAMESPACE_URL, sys.argv[1])).upper())' "halvora/$1"; }

languages() {
    printf '<?xml version="1.0" encoding="utf-8"?>\n<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi"><Fragment>\n'
    printf '<DirectoryRef Id="ResourceFolder">\n'
    local module locale
    for module in "$STAGE"/res/*/ZebShellRes.dll; do
        locale=$(basename "$(dirname "$module")")
        printf '<Directory Id="Folder%s" Name="%s"><Component Id="Strings%s" Guid="%s" Win64="yes">' "$locale" "$locale" "$locale" \
            "$(guid "strings/$locale")"
        printf '<File Id="Strings%s.dll" Name="ZebShellRes.dll" Source="res/%s/ZebShellRes.dll" KeyPath="yes"/></Component></Directory>\n' "$locale" "$locale"
    done
    printf '</DirectoryRef>\n<ComponentGroup Id="Languages">\n'
    for module in "$STAGE"/res/*/ZebShellRes.dll; do
        printf '<ComponentRef Id="Strings%s"/>\n' "$(basename "$(dirname "$module")")"
    done
    printf '</ComponentGroup></Fragment></Wix>\n'
}
# edit TABLE ACTION: changes rows of a table with awk.
edit() {
    msiinfo export unsigned.msi "$1" | tr -d '\r' | awk -F '\t' -v OFS='\t' "NR > 3 { $2 } { print }" >"$1.idt"
    msibuild unsigned.msi -i "$1.idt"
}
package() {
    build windows zebsetup
    rm -rf "$MADE"
    mkdir -p "$MADE"
    scripts/dev-signing.sh main "$SETUP" "$MADE/zebsetup.exe"
    languages >"$MADE/languages.wxs"
    # It takes no full paths of files.
    cp -r "$STAGE"/*.dll "$STAGE"/*.exe "$STAGE/res" installer/product.wxs "$MADE"
    cd "$MADE"
    wixl -a x64 -D Version="$version" -D ProductCode="$(guid "product/$version")" -o unsigned.msi product.wxs \
        languages.wxs
    # What it does not know: programs that are a part of the package, for which modules stand, whose number is one less;
    # the way back; two more properties that go through to the part with rights. It ends keys in a backslash.
    edit CustomAction 'if ($3 == "Setup") $2 += 1; if ($1 ~ /Again$/) $2 += 256'
    edit Property 'if ($1 == "SecureCustomProperties") $2 = $2 ";INSTALLDIR;SILO"'
    edit Registry 'sub(/\\$/, "", $3)'
    rm -f "$msi"
    "$ROOT/scripts/dev-signing.sh" main "$MADE/unsigned.msi" "$msi"
}
step "installer $version" package
