#!/usr/bin/env bash
# The address of a crash leads to the line that crashed, in what either compiler built.
source "$(dirname "$0")/common.sh"
for preset in windows windows-symbols windows-clang; do
    (HALVORA_COMPILER=$(sed -n 's/.*-clang$/clang/p' <<<$preset) && source scripts/common.sh && build $preset halvora_hostile)
done
scripts/wine-prefix.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
line="Crash at tests/samples/hostile.cpp:$(sed -n '/the line that scripts/=' tests/samples/hostile.cpp)"
status=0
# expect CODE PATTERN ARGUMENT...: what symbolize.sh prints in its first line.
expect() {
    local code=0 told
    told=$(scripts/symbolize.sh "${@:3}" 2>&1) || code=$?
    if [ $code -ne "$1" ] || ! head -n 1 <<<"$told" | grep -qE -- "$2"; then
        echo "symbolize.sh ${*:3} ends with $code, not $1, or tells no '$2': $told"
        status=1
    fi
}
# crash MODULE: where it was loaded, and where it crashed.
crash() {
    (cd "$(dirname "$1")" &&
        HALVORA_TEST_HOSTILE=crash WINEDEBUG=-all,+loaddll timeout 60 wine rundll32 hostile.dll,GetFactory 2>&1 || true) |
        sed -n -e 's/.*hostile\.dll.* at \([0-9A-F]*\): native.*/\1/p' -e 's/.*page fault .* at address \([0-9A-F]*\) .*/\1/p'
}
for folder in out/windows out/clang/windows; do
    module=$folder/tests/samples/hostile.dll
    read -r -d '' base address < <(crash "$module") || true
    expect 0 "^$address: .*$line\$" --base "$base" "$module" "$address"
done
rva=$(printf '%x' $((16#$address - 16#$base)))
scripts/dev-signing.sh main "$module" "$work/hostile.dll"
expect 0 "^0x$rva: .*$line\$" "$work/hostile.dll" "0x$rva"
expect 1 "^7fffffff: outside of the module" "$work/hostile.dll" 7fffffff
mv "$work/hostile.dll" "$work/renamed.dll"
expect 2 "has no debug information" "$work/renamed.dll" "$rva"
cp out/clang/windows/tests/samples/component.pdb "$work/hostile.pdb"
expect 2 "has no debug information" "$work/renamed.dll" "$rva"
cp out/clang/windows/tests/samples/hostile.pdb "$work/hostile.pdb"
expect 0 "$line\$" "$work/renamed.dll" "$rva"
expect 2 "there is no .*missing.dll" missing.dll "$rva"
exit $status
