#!/usr/bin/env bash
# Runs the main job for real, under Wine: a right-click on a selection becomes a started, verified scanner.
#
#   ./demo.sh                        with a sample selection that it makes
#   ./demo.sh PATH...                with your files and folders
#   ./demo.sh --lang LCID [PATH...]  on a system of another language, such as 1041
#
# Sets up what is missing first, installs the product with its installer and removes it again at the end. Leaves
# pictures of the menu and of the property page in out/demo/. Exit code 0 when the scanner ran on the selection and
# neither a tampered nor an unsigned scanner was started; 2 for a wrong command line; 1 for anything else.
set -euo pipefail
wrong() {
    printf 'demo.sh: %s; see ./demo.sh --help\n' "$1" >&2
    exit 2
}
language=1033
given=()
while [ $# -gt 0 ]; do
    case "$1" in
        -h | --help)
            sed -n '2,10s/^# \{0,1\}//p' "$0"
            exit 0
            ;;
        --lang)
            [ $# -ge 2 ] || wrong "--lang takes the number of a language"
            language=$2
            shift
            ;;
        --lang=*) language=${1#--lang=} ;;
        -*) wrong "unknown option '$1'" ;;
        *)
            if [[ $1 =~ ^[A-Za-z]:\\ || $1 == \\\\* ]]; then
                given+=("$1")
            elif [ -e "$1" ]; then
                given+=("$(realpath "$1")")
            else
                wrong "there is no $1"
            fi
            ;;
    esac
    shift
done
source "$(dirname "$0")/scripts/common.sh"
source scripts/languages.sh
source scripts/display.sh
[[ $language =~ ^[0-9]+$ && -n ${locale_names[$language]:-} ]] ||
    wrong "--lang takes one of $(printf '%s\n' "${!locale_names[@]}" | sort -n | paste -sd ' ')"

say "Set-up"
scripts/packages.sh demo
step "build for Windows" build windows zebdiag ScanAgent zebshell2 zebpages tsVrTrst tsSet tsQrtCtl resource_modules zebsetup
scripts/stage.sh
scripts/wine-prefix.sh
scripts/package.sh

PRODUCT="$WINEPREFIX/drive_c/Program Files/Halvora"
ZEBDIAG="$PRODUCT/zebdiag.exe"
DRIVE="$WINEPREFIX/drive_c"
SAMPLE="$DRIVE/Halvora Sample"
mkdir -p "$OUT/demo"

zebdiag() { in_language "$language" wine "$ZEBDIAG" "$@" </dev/null; }
MSI=$(windows_path "$(ls -t "$OUT"/windows/halvora-shell-*-x64.msi | head -n 1)")
install_product() {
    remove_product
    wine msiexec /i "$MSI" /qn /l*v "$(windows_path "$LOG/msiexec.log")"
}
# With what other scripts have put there.
remove_product() {
    wine msiexec /x "$MSI" /qn || true
    rm -rf "$PRODUCT"
}
clean_up() {
    stop_display
    settle_wine
    remove_product >>"$LOG/remove.log" 2>&1
}

# The standard anti-malware test pattern, from two halves: it must not stand whole in any file but the sample.
test_pattern() { printf '%s%s' 'X5O!P%@AP[4\PZX54(P^)7CC)7}$EICAR-STANDARD-' 'ANTIVIRUS-TEST-FILE!$H+H*'; }

make_sample() {
    rm -rf "$SAMPLE"
    local deep="$SAMPLE/Folder" part
    part=$(printf 'a-folder-with-a-long-name-%.0s' 1 2 3)
    deep="$deep/$part/$part/$part/$part"
    mkdir -p "$deep"
    echo "nothing to see" >"$SAMPLE/Folder/plain.txt"
    echo "far down" >"$deep/far-down.txt"
    echo "Grüße" >"$SAMPLE/Grüße aus 東京 – Ω.txt"
    test_pattern >"$SAMPLE/test-pattern.com"
    far_down="C:${deep#"$DRIVE"}/far-down.txt"
    far_down=${far_down//\//\\}
    selection=('C:\Halvora Sample\test-pattern.com' 'C:\Halvora Sample\Grüße aus 東京 – Ω.txt' 'C:\Halvora Sample\Folder')
}

say ""
say "Selection"
selection=()
[ ${#given[@]} -ne 0 ] || make_sample
for path in "${given[@]}"; do
    [[ $path == /* ]] && path=$(windows_path "$path")
    selection+=("$path")
done
for path in "${selection[@]}"; do say "  $path"; done

trap clean_up EXIT
step "msiexec /i, silent" install_product
step "windows without a window manager" dress_prefix
settle_wine # it keeps the display of its first program
start_display

say ""
say "The scanner before the click"
zebdiag verify 'C:\Program Files\Halvora\ScanAgent.exe'

say ""
say "Right-click, and the item picked with the keyboard"
open_window menu "$language" menu --show --wait 120 -- "${selection[@]}"
highlight "0 NimShellScan"
picture "$OUT/demo/menu.png"
close_window 0 menu Return
cat "$OUT/demo/menu.txt"

say ""
say "Property page"
open_window page "$language" page --show
picture "$OUT/demo/page.png"
close_window 0 page Escape
cat "$OUT/demo/page.txt"

if [ ${#given[@]} -eq 0 ]; then
    say ""
    say "The request by itself, with its list file and a path of ${#far_down} characters"
    zebdiag scan --wait 120 -- 'C:\Halvora Sample' "$far_down"
fi

# swap NAME FILE: the scanner is replaced; a click must not start it.
swap() {
    say ""
    say "The same with $1 scanner"
    cp "$2" "$PRODUCT/ScanAgent.exe"
    local swapped=0
    zebdiag verify 'C:\Program Files\Halvora\ScanAgent.exe' || true
    zebdiag menu --invoke NimShellScan --wait 20 -- "${selection[@]}" >"$OUT/demo/swap.txt" || swapped=$?
    sed -n '/^invoked/,$p' "$OUT/demo/swap.txt"
    [ "$swapped" -eq 1 ] || die "$1 scanner was not refused (zebdiag's exit code $swapped)"
    cp "$OUT/windows/stage/ScanAgent.exe" "$PRODUCT/ScanAgent.exe"
}
tampered="$OUT/demo/tampered.exe"
cp "$OUT/windows/stage/ScanAgent.exe" "$tampered"
# One byte of the file's inside changed.
byte=$(od -An -tu1 -j4096 -N1 "$tampered" | tr -d ' ')
printf "\\x$(printf %02x $((byte ^ 0x55)))" | dd of="$tampered" bs=1 seek=4096 conv=notrunc status=none
swap "a tampered" "$tampered"
swap "an unsigned" "$OUT/windows/stage/.unsigned/ScanAgent.exe"

say ""
trap - EXIT
settle_wine
stop_display
step "msiexec /x, silent" wine msiexec /x "$MSI" /qn
settle_wine
[ ! -e "$PRODUCT" ] || die "something is left of the installation in $PRODUCT"
say ""
say "Demo done: the verified scanner ran on ${#selection[@]} paths; the tampered and the unsigned one were not started."
say "Pictures: out/demo/menu.png and out/demo/page.png."
