#!/usr/bin/env bash
# The kit for other machines, from a folder with blanks and other letters: all of it, what is skipped where somebody has
# no rights or the product is there, and an end in the middle; registry and disk are as before each time. Under both
# versions of Wine, where the newer one can be had.
#
#   check-platform-kit.sh       packs and tries it
#   check-platform-kit.sh try   tries what is packed and unpacked, with the Wine at hand
source "$(dirname "$0")/common.sh"
work="$OUT/kit-check"
if [ "${1:-}" != try ]; then
    scripts/platform-kit.sh
    cp "$OUT/windows"/halvora-platform-kit-*.zip "$OUT/log/kit.zip"
    rm -rf "$OUT/windows"/halvora-platform-kit-*.zip
    scripts/platform-kit.sh
    cmp "$OUT/log/kit.zip" "$OUT/windows"/halvora-platform-kit-*.zip
    rm -rf "$work"
    mkdir -p "$work"
    unzip -q -d "$work/unpacked" "$OUT/windows"/halvora-platform-kit-*.zip
    "$0" try
    code=0
    scripts/wine10.sh "$0" try || code=$?
    [ $code -eq 77 ] || exit $code
    echo "note: under the older Wine alone"
    exit
fi
export HALVORA_WINEPREFIX="$work/prefix" WINEPREFIX="$work/prefix"
rm -rf "$WINEPREFIX"
scripts/wine-prefix.sh
folder="$WINEPREFIX/drive_c/Where I put it, für 日本"
cp -r "$work"/unpacked/halvora-platform-kit-* "$folder"
report="$folder/halvora-report.txt"
status=0

# expect WHAT WANTED GIVEN
expect() {
    [ "$2" = "$3" ] && return
    printf '%s:\n  wanted: %s\n  given:  %s\n' "$1" "$2" "$3"
    status=1
}
# Every run's report is kept beside the others.
run() {
    (cd / && timeout 600 "$@" </dev/null >"$work/shown" 2>&1 && echo 0 || echo $?)
    [ ! -f "$report" ] || cp "$report" "$work/report-$(find "$work" -maxdepth 1 -name 'report-*' | wc -l).txt"
}
kit=(wine cmd /c "C:\\${folder##*/}\\run.cmd")
told() { tr -d '\r' <"$report" | sed -n "s/^$1 *//p"; }
skipped() { told skipped | sed 's/   .*//' | tr '\n' ','; }
# But for what Wine itself notes down: its services' state, the roots of the system below it and the policy of the trust
# provider, which it takes over when they are first asked for.
state() {
    settle_wine
    (cd "$WINEPREFIX/drive_c" && find . -path "./${folder##*/}" -prune -o -print | sort)
    cat "$WINEPREFIX"/{system,user}.reg | awk '/^\[/ { key = $1; next } /^#|^$/ { next } { print key " " $0 } ' FS='] ' |
        grep -vE '^\[(System|Software\\\\Microsoft\\\\SystemCertificates|.*Trust Providers)' | sort
    # The root of the samples.
    grep -i "\\\\$fingerprint" "$WINEPREFIX"/{system,user}.reg || true
}
changes() {
    state >"$work/after"
    diff "$work/before" "$work/after" || true
}
fingerprint=$(sha1sum "$folder/test-root.cer" | cut -d ' ' -f 1)
state >"$work/before"

# Everything.
expect "all of it" 0 "$(run "${kit[@]}" --trust-test-root)"
cat "$work/shown"
tests=0
for suites in wine alone; do
    tests=$((tests + $(wine "$folder/halvora_${suites}_tests.exe" --gtest_list_tests | grep -c '^  ')))
done
expect "tests that ran" "$tests" "$(told passed | awk '/ tests passed/ { for (i = 2; i < NF; ++i) if ($i == "of") ran += $(i + 1) } END { print ran }')"
expect "skipped steps" "" "$(skipped)"
expect "answers of the catalogs" 2 "$(grep -o 'trust\.catalogs\.sha[0-9]*' "$report" | wc -l)"
expect "changes" "" "$(changes)"

# Ended in the middle, and started again: without the root.
(cd / && timeout 20 "${kit[@]}" --trust-test-root </dev/null >/dev/null 2>&1 || true)
wineserver -k
expect "again" 0 "$(run "${kit[@]}")"
expect "after what did not end" 1 "$(told 'an earlier run' | wc -l)"
root_steps='trust in files,trust through catalogs,the menu item,attacks,'
alone_steps="what is the host program's,leaks,memory running out,"
expect "skipped without the root" "$root_steps$alone_steps" "$(skipped)"
expect "changes by both" "" "$(changes)"

# No rights, and no place for the report beside it.
rm "$report"
mkdir "$report"
machine_steps='registry,registration of the library,the library as COM sees it,'
expect "without rights" 0 "$(run wine "$OUT/windows/tests/samples/without-rights.exe" "${kit[@]:1}")"
expect "where the report is" 1 "$(grep -c 'report: C:.users.*emp.halvora-report.txt' "$work/shown")"
rmdir "$report"
mv "$(find "$WINEPREFIX/drive_c/users" -name halvora-report.txt | head -n 1)" "$report"
expect "rights" "no, HKEY_LOCAL_MACHINE may be written: no" "$(told administrator:)"
expect "skipped without rights" "catalogs of the system,$machine_steps${root_steps}the box about missing texts,$alone_steps" "$(skipped)"
expect "changes without rights" "" "$(changes)"

# Where the product is.
wine reg add 'HKLM\Software\Corvane\Somebody' /f >/dev/null
state >"$work/before"
expect "beside the product" 0 "$(run "${kit[@]}")"
expect "skipped beside the product" "$machine_steps${root_steps}the box about missing texts,$alone_steps" "$(skipped)"
expect "changes beside the product" "" "$(changes)"
rm "$folder/samples/component.dll"
expect "without a sample" 1 "$(run "${kit[@]}")"
expect "what failed" "modules and processes, the output of 1" "$(told FAILED | sed 's/   .*//'), the output of $(grep -c '^==== modules' "$report")"
expect "changes by a failure" "" "$(changes)"
rm "$folder/halvora_wine_tests.exe"
expect "without the suites" 3 "$(run "${kit[@]}")"
exit $status
