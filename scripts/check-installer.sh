#!/usr/bin/env bash
# Installs the product with its installer, upgrades it while a host holds the old library, repairs and removes it, in a
# Wine prefix of its own, and compares registry and disk before and after.
export HALVORA_WINEPREFIX="$(dirname "$0")/../out/wine-installer"
HALVORA_WINEPREFIX=$(realpath -m "$HALVORA_WINEPREFIX")
source "$(dirname "$0")/common.sh"
HOST="$OUT/windows/tests/samples/shell-host.exe"
version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
msi="$OUT/windows/halvora-shell-$version-x64.msi"
older_version=0.0.9
work="$OUT/installer-check"
status=0 checked=0

# expect WHAT WANTED GIVEN
expect() {
    checked=$((checked + 1))
    [ "$2" = "$3" ] && return
    printf '%s:\n  wanted: %s\n  given:  %s\n' "$1" "$2" "$3"
    status=1
}
installer() { timeout 300 wine msiexec "$@" /qn /l*v "$(windows_path "$work/msiexec.log")"; }
a_host() { timeout 60 wine "$HOST" </dev/null 2>/dev/null | tr -d '\r'; }
value() { wine reg query "$1" /v "$2" 2>/dev/null | tr -d '\r' | sed -n 's/^.*REG_[A-Z]* *//p'; }
# Files and folders, and keys of the registry with their values, but what Windows itself notes down meanwhile.
state() {
    settle_wine
    (cd "$WINEPREFIX/drive_c" && find . -path ./users -prune -o -path ./windows/temp -prune -o -path ./windows/Installer -prune -o -print | sort)
    awk '/^\[/ { key = $1; next } /^#|^$/ { next } { print key " " $0 } ' FS='] ' "$WINEPREFIX/system.reg" |
        grep -vE '^\[(System|Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\(Installer|RunOnce)|Software\\\\Classes\\\\Installer)' | sort
}

# The type library's registration stays: others may need it.
changes() { diff "$work/before" "$work/after" | grep '^[<>]' | grep -viE 'TypeLib|6F952B5[DE]|150C8EB[01]' || true; }

# Version 0.0.9 is the same product, whose library has another version's number in it.
make_older() {
    rm -rf "$work"
    mkdir -p "$work"
    cp -r "$OUT/windows/stage" "$work/older"
    python3 - "$OUT/windows/stage/.unsigned/zebshell2.dll" "$work/unsigned.dll" "$version" "$older_version" <<'END'
import sys
source, target, new, old = sys.argv[1:]
image = open(source, "rb").read()
assert new.encode("utf-16-le") in image and len(new) == len(old)
open(target, "wb").write(image.replace(new.encode("utf-16-le"), old.encode("utf-16-le")))
END
    scripts/dev-signing.sh main "$work/unsigned.dll" "$work/older/zebshell2.dll"
    scripts/package.sh "$older_version" "$work/older" "$work/older.msi"
}
scripts/package.sh
make_older
rm -rf "$WINEPREFIX"
scripts/wine-prefix.sh
state >"$work/before"
program_files="$WINEPREFIX/drive_c/Program Files"
item='&Scan with Halvora'

# An older version, into a folder and a silo of the administrator's choice.
folder="$program_files/The Product"
silo='{11112222-3333-4444-5555-666677778888}'
expect "installation" 0 "$(installer /i "$(windows_path "$work/older.msi")" 'INSTALLDIR=C:\Program Files\The Product' "SILO=$silo" >/dev/null; echo $?)"
expect "a host" "$older_version: $item" "$(a_host)"
expect "the silo" "silo=$silo" "$(tr -d '\r' <"$folder/isolate.ini" | grep silo)"
expect "the map" 'C:\Program Files\The Product\' "$(value "HKLM\\Software\\Corvane\\Isolation\\$silo\\Tessel\\PathExpansionMap" INSTALLDIR)"
expect "languages" "$(find "$OUT/windows/stage/res" -name '*.dll' | wc -l)" "$(find "$folder/res" -name '*.dll' | wc -l)"

# An upgrade while a host holds the library. The older one's folder and silo are found again.
coproc HELD { exec timeout 300 wine "$HOST" 2>/dev/null; }
held() {
    local line="nothing"
    read -r -t 60 line <&"${HELD[0]}" || true
    printf '%s' "${line%$'\r'}"
}
expect "the old host" "$older_version: $item" "$(held)"
expect "upgrade" 0 "$(installer /i "$(windows_path "$msi")" >/dev/null; echo $?)"
expect "a new host after the upgrade" "$version: $item" "$(a_host)"
echo again >&"${HELD[1]}"
expect "the old host after the upgrade" "$older_version: $item" "$(held)"
expect "the old library" "$folder/zebshell2.dll.1.old" "$(ls "$folder"/zebshell2.dll.*)"
expect "the silo, found again" "$silo" "$(value 'HKLM\Software\Corvane\Halvora\Setup' Silo)"
expect "an older version over it" refused "$(installer /i "$(windows_path "$work/older.msi")" >/dev/null && echo done || echo refused)"

# A repair. (Wine's msiexec does not know /f.)
rm "$folder/tsSet.dll" "$folder/res/1031/ZebShellRes.dll" "$folder/isolate.ini"
wine reg delete 'HKCR\CLSID\{8BEEE74D-455E-4616-A97A-F6E86C317F32}' /f >/dev/null
wine reg delete 'HKLM\Software\Corvane\Isolation' /f >/dev/null
expect "repair" 0 "$(installer /i "$(windows_path "$msi")" REINSTALL=ALL REINSTALLMODE=amus >/dev/null; echo $?)"
expect "a host after the repair" "$version: $item" "$(a_host)"
expect "the page's class after the repair" Apartment "$(value 'HKCR\CLSID\{4DEF8DD1-C4D1-11D1-82DA-00A0C9749EEF}\InprocServer32' ThreadingModel)"
expect "the files after the repair" 3 "$(find "$folder" -name tsSet.dll -o -path '*1031/ZebShellRes.dll' -o -name isolate.ini | wc -l)"
expect "the map after the repair" 'C:\Program Files\The Product\' "$(value "HKLM\\Software\\Corvane\\Isolation\\$silo\\Tessel\\PathExpansionMap" INSTALLDIR)"

# A part of its own.
expect "removal of the page" 0 "$(installer /i "$(windows_path "$msi")" REMOVE=PropertyPages >/dev/null; echo $?)"
expect "the page's class" "" "$(value 'HKCR\CLSID\{4DEF8DD1-C4D1-11D1-82DA-00A0C9749EEF}\InprocServer32' ThreadingModel)"
expect "a host without the page" "$version: $item" "$(a_host)"

# Removal, which the held library outlives until the next start.
expect "removal" 0 "$(installer /x "$(windows_path "$msi")" >/dev/null; echo $?)"
expect "a host after the removal" "no handler" "$(a_host)"
echo again >&"${HELD[1]}"
exec {HELD[1]}>&-
wait "$HELD_PID" || true
settle_wine
wineboot >/dev/null 2>&1 # the next start
state >"$work/after"
expect "what is left after the next start" "" "$(changes)"

# Some features alone.
expect "some features" 0 "$(installer /i "$(windows_path "$msi")" "INSTALLDIR=C:\\Program Files\\Some of Halvora" ADDLOCAL=Complete,Components,ScanAgent >/dev/null; echo $?)"
expect "a host with them" "$version: $item" "$(a_host)"
expect "the features that were not asked for" "" "$(find "$program_files/Some of Halvora" -name 'zebpages.dll' -o -name 'zebdiag.exe')"
expect "their removal" 0 "$(installer /x "$(windows_path "$msi")" >/dev/null; echo $?)"

# An installation that fails, because the library is cut, leaves nothing either.
cp -r "$OUT/windows/stage" "$work/broken"
truncate -s 5000 "$work/broken/zebshell2.dll"
scripts/package.sh "$version" "$work/broken" "$work/broken.msi"
expect "a broken package" refused "$(installer /i "$(windows_path "$work/broken.msi")" >/dev/null && echo done || echo refused)"
state >"$work/after"
expect "what is left of a broken one" "" "$(changes)"
echo "note: $checked checks"
exit $status
