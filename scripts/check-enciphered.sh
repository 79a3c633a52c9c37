#!/usr/bin/env bash
# The accepted signer names must not stand as plain text in a shipped module, neither 8-bit nor UTF-16.
source "$(dirname "$0")/common.sh"
# Short values such as a country code stand in any binary by chance.
names=$(sed -n '/^#/d;s/^[A-Z0-9.]*=//p' config/signer-names.conf | grep -E '.{8}')
# plain_names FILE: those that it holds.
plain_names() { { strings -a "$1" && strings -a -el "$1"; } | grep -oF -- "$names"; }
plain_names "$OUT/windows/stage/zebdiag.exe" >/dev/null || die "not even the certificate's own name is found"
status=0
modules=("$OUT"/windows/stage/*.exe "$OUT"/windows/stage/*.dll)
for module in "${modules[@]}"; do
    unsigned="$OUT/windows/stage/.unsigned/$(basename "$module")"
    [ -f "$unsigned" ] || die "no unsigned original of $module"
    if plain_names "$unsigned"; then
        echo "in plain text in $(basename "$module")"
        status=1
    fi
done
echo "${#modules[@]} modules checked"
exit $status
