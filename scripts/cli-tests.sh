#!/usr/bin/env bash
# zebdiag as a user runs it: the installed program under Wine, its answers, exit codes and JSON.
source "$(dirname "$0")/common.sh"
"$ROOT/scripts/install.sh"
PRODUCT="$WINEPREFIX/drive_c/Program Files/Halvora"
SAMPLES=$(windows_path "$OUT/samples")
ran=0 passed=0

# expect EXIT-CODE STDOUT-REGEX STDERR-REGEX ARGUMENT...: an empty expression wants no output at all.
expect() {
    local code=$1 out=$2 err=$3 actual=0
    shift 3
    ${through:-} wine "$PRODUCT/zebdiag.exe" "$@" >"$OUT/cli.out" 2>"$OUT/cli.err" </dev/null || actual=$?
    ran=$((ran + 1))
    local wrong=""
    [ "$actual" -eq "$code" ] || wrong="exit code $actual, not $code"
    matches "$out" "$OUT/cli.out" || wrong+="${wrong:+; }stdout is not '$out'"
    matches "$err" "$OUT/cli.err" || wrong+="${wrong:+; }stderr is not '$err'"
    if [ -z "$wrong" ]; then
        passed=$((passed + 1))
        echo "[       OK ] zebdiag $*"
    else
        echo "[  FAILED  ] zebdiag $*: $wrong"
        cat "$OUT/cli.out" "$OUT/cli.err"
    fi
}
matches() {
    if [ -z "$1" ]; then [ ! -s "$2" ]; else tr '\n' '~' <"$2" | grep -qE -- "$1"; fi
}
verdict() { echo "\"result\":$1,"; }

expect 0 "$(verdict 1)" "" verify "$SAMPLES\\good.exe" --json
expect 1 "$(verdict 3).*\"commonName\":\"Unrelated Signing\"" "" verify "$SAMPLES\\other-names.exe" --json
expect 0 "$(verdict 1).*\"test-A\"" "" verify "$SAMPLES\\legacy.exe" --level 1 --json
expect 0 "A passed, B passed, C passed, D passed" "" verify "$SAMPLES\\good.exe" --level 5
expect 1 "A passed, B failed, C passed, D failed" "" verify "$SAMPLES\\unit.exe" --level 5
expect 0 "A passed, B passed, C passed, D passed" "" verify "$SAMPLES\\second.exe" --level 5
expect 1 "A failed" "" verify "$SAMPLES\\no-usage.exe" --level 1
expect 0 "system-component" "" verify "$SAMPLES\\system.exe" --level 4
expect 0 "driver-verified" "" verify "$SAMPLES\\driver.sys" --level 4 --driver
expect 1 "not trusted \(3\).*platform  0x80096010.*read although the signature is refused" "" verify "$SAMPLES\\tampered.exe"
expect 1 "not trusted \(3\).*platform  0x800B0100.*signer    none" "" verify "$SAMPLES\\unsigned.exe"
expect 1 "$(verdict 2)" "" verify "$SAMPLES\\missing.exe" --json
expect 1 "$(verdict 5)" "" verify "" --json
expect 0 "\"file\":\".*zebdiag.exe\".*$(verdict 1)" "" verify --module zebdiag.exe --json
expect 1 "$(verdict 2)" "" verify --pid 4294967292 --json
expect 1 "$(verdict 2)" "" verify --clsid '{11111111-2222-3333-4444-555555555555}' --json

expect 0 '^C:\\Program Files\\Halvora\\x~$' "" expand '%INSTALLDIR%\x'
expect 0 '^C:\\ProgramData\\Corvane\\\{6F1D2C3A-8B4E-4A57-9C60-D1E2F3A4B5C6\}\\Logs~$' "" expand '%HVRLOGDIR%'
expect 1 "" "cannot expand %NOSUCH%; error 103: %nosuch% is not in the map" expand '%NOSUCH%'
expect 1 '^\{"text":"a%%b","expanded":false\}~$' "cannot expand" expand 'a%%b' --json
expect 0 '^C:\\Program Files\\Halvora\\Help\\Grüße.chm~$' "" path 7 'Grüße.chm'
expect 0 '"result":"0x00000000","path":"C:\\\\Program Files\\\\Halvora\\\\"' "" path 0 --json
expect 2 "" "0x80070057" path 13

expect 2 "usage: zebdiag .OPTIONS. VERB" ""
for verb in verify expand path scan objects create protection menu page doctor trace; do expect 0 "usage: zebdiag $verb" "" "$verb" --help; done
expect 2 "" "--level takes a number from 1 to 5" verify x --level 6
expect 2 "" "is needed" verify
expect 2 "" "PATH or --from is required" scan
expect 0 "infected=0" "" scan --wait 60 'C:\windows\win.ini'
expect 0 '"started":true.*"scannerExitCode":0' "" scan --wait 60 --json 'C:\windows\win.ini'

printf 'C:\\windows\\win.ini\nC:\\windows\\no.ini\n' >"$OUT/cli.paths"
expect 1 '~  item.C:.windows.win.ini~.*list=complete' "not everything was scanned: the scanner could not read" scan --wait 60 --from "$(windows_path "$OUT/cli.paths")"
expect 3 "" "cannot read C:.no.list: system error 2" scan --from 'C:\no.list'
expect 0 '^# Trace events~.*~. 103 . error, verbose . `PathTokenUnknown` . %\{text\}% is not in the map' "" trace events
echo '[12] Halvora trace 2 103 "x" "%x%"' >"$OUT/cli.trace"
expect 0 '^\[12\] error 103: %x% is not in the map and no built-in folder: %x%~$' "" trace decode "$(windows_path "$OUT/cli.trace")"
expect 1 "" "there is no record" trace decode 'C:\windows\win.ini'
expect 2 "" "FILE is required" trace start
expect 1 "" '^trace: error 103: %nosuch% is not.*~zebdiag expand: cannot expand' expand '%NOSUCH%' --trace

# On a terminal, where Ctrl+C is pressed when the scanner shows how far it is. (The newer Wine's folder has no Python.)
if command -v python3 >/dev/null; then
    through="scripts/press-ctrl-c.py files," expect 1 '~  stopped .*~zebdiag scan: not everything was scanned: the scanner was stopped~' "" scan --wait 50 'Z:\'
fi

# Components by object id.
control='{3FBFA03C-4417-4069-AEB4-19A75A170744}' icontrol='{8E5ACB65-D7AA-4C8A-B8AD-D09E938206C8}'
base='{7D1D35C0-3A0B-4B7C-9C55-0D2F4A1E6B01}' unknown='{11111111-2222-3333-4444-555555555555}'
expect 0 "\\{7AF00934.*built-in~.*tsVrTrst.dll~.*trusted \\(1\\)~.*~\\$control  registry~  stored        %TSROOTX64%.tsQrtCtl.dll~  path          C:.Program Files.Halvora.tsQrtCtl.dll~  verdict       trusted \\(1\\)~  entry points  both there~" "" objects
expect 0 "\"id\":\"\\$control\",\"source\":\"registry\",\"stored\":\"%TSROOTX64%..tsQrtCtl.dll\",\"expanded\":true,.*\"entryPoints\":\"both there\".*\"read\":true" "" objects --json
expect 0 '^result    0x00010000 success; created and released~$' "" create "$control" "$icontrol"
expect 0 '"result":"0x00010000","name":"success","created":true' "" create '{7AF00934-51B3-4A05-9B85-BAE7DDE0A248}' "$base" --json
expect 0 "success" "" create '{4F3E0BE1-5FE1-4C22-859B-A6FB7586B828}' '{B0A55002-DA4A-473B-AEBB-09795F618EDF}'
expect 0 "success" "" create '{17C9B88B-8B72-4F4E-AC70-DE0BDF8AC9FB}' '{D8F30E00-8F44-44FE-986F-F9BCBDF19F6B}'
expect 1 '^result    0x80010202 the object lacks the interface~$' "" create "$control" "$unknown"
expect 1 '^result    0x80010300 module missing~$' "" create "$unknown" "$base"
expect 2 "" "IID is required" create "$control"
expect 2 "" "ids in braces" create "${control#?}" "$base"
expect 0 '^\{"suspended":false\}~$' "" protection --json
cp "$OUT/windows/stage/.unsigned/tsQrtCtl.dll" "$PRODUCT/tsQrtCtl.dll"
expect 1 "\\$control  registry~.*not trusted \\(3\\); the product refuses this module~  entry points  not looked at" "" objects
expect 1 '0x80010303 module not trusted' "" create "$control" "$base"
mv "$PRODUCT/tsVrTrst.dll" "$OUT/cli.verifier"
expect 0 'success' "" create "$control" "$base"
mv "$OUT/cli.verifier" "$PRODUCT/tsVrTrst.dll"
cp "$OUT/windows/stage/tsQrtCtl.dll" "$PRODUCT/tsQrtCtl.dll"

# The library in a real menu. Without a display there are no windows; ./demo.sh shows those.
libraries() {
    local library
    for library in zebpages zebshell2; do wine regsvr32 "$@" "C:\\Program Files\\Halvora\\$library.dll"; done
}
expect 1 "menu~.*&Open~" "no handler added a command" menu 'C:\windows\win.ini'
libraries /s
item='\{"text":"&Scan with Halvora","offset":0,"verb":"NimShellScan","help":"Scans the selected items [^"]*"\}'
expect 0 "\"dataObject\":\"shell\",.*\"class\":\"\*\",.*$item" "" menu --list --json 'C:\windows\win.ini' 'C:\windows\system.ini'
expect 0 '"dataObject":"own",.*"class":"Folder",.*"offset":0' "" menu --json 'C:\windows' 'C:\windows\win.ini'
expect 0 'OrloMenu of Drive, .*    0  &Scan with Halvora' "" menu 'C:\'
expect 0 '"invoked":"OrloMenu","result":"0x00000000","started":true,"ended":true,.*item.tC:.*win.ini' "" \
    menu --invoke NimShellScan --wait 60 --json 'C:\windows\win.ini'
expect 1 'result 0x80004005' "refused" menu --invoke nimshellscan 'C:\windows\win.ini'
expect 3 "" "there is no C:.missing" menu 'C:\missing'
expect 0 'Orlo Shell Extensions, .*: 1 page~' "no window can be made here" page
expect 3 ': 1 page~' "the property sheet could not be made" page --show

# The doctor: a whole installation, then one broken in one place at a time.
expect 0 'zebshell2.dll, the registered one~.*"&Scan with Halvora" was added.*~0 fault, 0 not known, ' "" doctor
expect 0 '^\{"version":"[0-9.]+","library":"C:.*"id":"handler.item",.*"worst":"remark"\}~$' "" doctor --json
# The folder with the newer Wine has no Python.
if command -v python3 >/dev/null && ! python3 -m json.tool "$OUT/cli.out" >/dev/null; then
    echo "[  FAILED  ] that is no JSON"
    passed=$((passed - 1))
fi
wine reg delete 'HKCR\*\Shellex\ContextMenuHandlers\OrloMenu' /f >/dev/null
expect 1 '~fault  [^~]*\(registration.handlers\)~[^~]*OrloMenu is missing~.*~1 fault, 0 not known, ' "" doctor
libraries /s
map="HKLM\\Software\\Corvane\\Isolation\\{6F1D2C3A-8B4E-4A57-9C60-D1E2F3A4B5C6}\\Tessel\\PathExpansionMap"
wine reg delete "$map" /v INSTALLDIR /f >/dev/null
expect 1 '~fault  [^~]*\(paths.tokens\)~[^~]*%installdir% is not in the map.*~1 fault, 3 not known, ' "" doctor
wine regedit /S "$(windows_path "$OUT/install.reg")"
mv "$PRODUCT/ScanAgent.exe" "$OUT/cli.scanner"
expect 1 '~fault  [^~]*\(scan.scanner\)~[^~]*is not there, error 2~.*~1 fault, 2 not known, ' "" doctor
mv "$OUT/cli.scanner" "$PRODUCT/ScanAgent.exe"
printf 'x' | dd of="$PRODUCT/zebshell2.dll" bs=1 seek=5000 conv=notrunc status=none
expect 1 '~fault  [^~]*\(library.signature\)~[^~]*0x80096010~.*~1 fault, 2 not known, ' "" doctor
cp "$OUT/windows/stage/zebshell2.dll" "$PRODUCT/zebshell2.dll"
libraries /u /s
expect 1 '\(library.file\)~ *C:.no.dll, the one that was named, is not there, error 2~' "" doctor 'C:\no.dll'
expect 1 "" "no handler added a page" page

echo "[==========] $ran tests from 1 test suite ran."
echo "[  PASSED  ] $passed tests."
[ "$passed" -eq "$ran" ]
