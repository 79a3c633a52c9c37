#!/usr/bin/env bash
# Runs the main job for real, under Wine: a list of paths becomes a started, verified scanner.
#
#   ./demo.sh              with a sample selection that it makes
#   ./demo.sh PATH...      with your files and folders
#
# Sets up what is missing first. Exit code 0 when the scanner ran on the selection and neither a tampered nor an unsigned
# scanner was started; 2 for a wrong command line; 1 for anything else.
set -euo pipefail
case "${1:-}" in
    -h | --help)
        sed -n '2,8s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
    -*)
        printf "demo.sh: unknown option '%s'; see ./demo.sh --help\n" "$1" >&2
        exit 2
        ;;
esac
given=()
for path in "$@"; do
    if [[ $path =~ ^[A-Za-z]:\\ || $path == \\\\* ]]; then
        given+=("$path")
    elif [ -e "$path" ]; then
        given+=("$(realpath "$path")")
    else
        printf 'demo.sh: there is no %s\n' "$path" >&2
        exit 2
    fi
done
source "$(dirname "$0")/scripts/common.sh"

say "Set-up"
scripts/packages.sh
step "build for Windows" build windows zebdiag ScanAgent zebshell2 zebpages resource_modules tsVrTrst tsSet tsQrtCtl
scripts/stage.sh
scripts/wine-prefix.sh
scripts/install.sh

PRODUCT="$WINEPREFIX/drive_c/Program Files/Halvora"
ZEBDIAG="$PRODUCT/zebdiag.exe"
DRIVE="$WINEPREFIX/drive_c"
SAMPLE="$DRIVE/Halvora Sample"

# The standard anti-malware test pattern, from two halves: it must not stand whole in any file but the sample.
test_pattern() { printf '%s%s' 'X5O!P%@AP[4\PZX54(P^)7CC)7}$EICAR-STANDARD-' 'ANTIVIRUS-TEST-FILE!$H+H*'; }

make_sample() {
    rm -rf "$SAMPLE"
    local deep="$SAMPLE/deep" part
    part=$(printf 'a-folder-with-a-long-name-%.0s' 1 2 3)
    deep="$deep/$part/$part/$part/$part"
    mkdir -p "$SAMPLE/Folder" "$deep"
    echo "nothing to see" >"$SAMPLE/Folder/plain.txt"
    echo "Grüße" >"$SAMPLE/Grüße aus 東京 – Ω.txt"
    echo "far down" >"$deep/far-down.txt"
    test_pattern >"$SAMPLE/test-pattern.com"
    selection=('C:\Halvora Sample\Folder' 'C:\Halvora Sample\Grüße aus 東京 – Ω.txt'
        "C:${deep#"$DRIVE"}/far-down.txt" 'C:\Halvora Sample\test-pattern.com')
    selection[2]=${selection[2]//\//\\}
}

say ""
say "Selection"
if [ ${#given[@]} -eq 0 ]; then
    make_sample
else
    selection=()
    for path in "${given[@]}"; do
        [[ $path == /* ]] && path=$(windows_path "$path")
        selection+=("$path")
    done
fi
for path in "${selection[@]}"; do say "  $path"; done

say ""
say "Scan"
code=0
wine "$ZEBDIAG" scan --wait 120 -- "${selection[@]}" </dev/null || code=$?
[ "$code" -eq 0 ] || die "the scan did not run (zebdiag's exit code $code)"

# swap NAME FILE: the scanner is replaced; it must not be started.
swap() {
    say ""
    say "The same with $1 scanner"
    cp "$2" "$PRODUCT/ScanAgent.exe"
    local swapped=0
    wine "$ZEBDIAG" verify 'C:\Program Files\Halvora\ScanAgent.exe' </dev/null || true
    wine "$ZEBDIAG" scan --wait 20 -- "${selection[@]}" </dev/null || swapped=$?
    [ "$swapped" -eq 1 ] || die "$1 scanner was not refused (zebdiag's exit code $swapped)"
    cp "$OUT/windows/stage/ScanAgent.exe" "$PRODUCT/ScanAgent.exe"
}
tampered="$OUT/demo/tampered.exe"
mkdir -p "$OUT/demo"
cp "$OUT/windows/stage/ScanAgent.exe" "$tampered"
# One byte of the file's inside changed.
byte=$(od -An -tu1 -j4096 -N1 "$tampered" | tr -d ' ')
printf "\\x$(printf %02x $((byte ^ 0x55)))" | dd of="$tampered" bs=1 seek=4096 conv=notrunc status=none
swap "a tampered" "$tampered"
swap "an unsigned" "$OUT/windows/stage/.unsigned/ScanAgent.exe"
wineserver -w

say ""
say "Demo done: the verified scanner ran on ${#selection[@]} paths; the tampered and the unsigned one were not started."
