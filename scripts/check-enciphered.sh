#!/usr/bin/env bash
# The accepted signer names must not stand as plain text in a shipped module, neither 8-bit nor UTF-16.
source "$(dirname "$0")/common.sh"
status=0
modules=("$OUT"/windows/stage/*.exe "$OUT"/windows/stage/*.dll)
checked=0
for module in "${modules[@]}"; do
    [ -f "$module" ] || continue
    unsigned="$OUT/windows/stage/.unsigned/$(basename "$module")"
    [ -f "$unsigned" ] || { echo "no unsigned original of $module"; exit 1; }
    checked=$((checked + 1))
    while IFS= read -r value; do
        # Short values such as a country code stand in any binary by chance.
        [ ${#value} -ge 8 ] || continue
        if grep -qF -- "$value" "$unsigned" ||
            iconv -f UTF-16LE -t UTF-8 -c "$unsigned" | grep -qaF -- "$value" ||
            tail -c +2 "$unsigned" | iconv -f UTF-16LE -t UTF-8 -c | grep -qaF -- "$value"; then
            echo "$(basename "$module") holds '$value' in plain text"
            status=1
        fi
    done < <(sed -n '/^#/d;s/^[A-Z0-9.]*=//p' config/signer-names.conf | sort -u)
done
[ $checked -gt 0 ] || { echo "no module to check"; exit 1; }
# The search itself must be able to find: a name that is in a signed module's certificate.
grep -qF -- "$(sed -n 's/^O=//p' config/signer-names.conf | head -n 1)" "$OUT/windows/stage/zebdiag.exe" ||
    { echo "the search does not even find the certificate's own name"; exit 1; }
echo "$checked modules checked"
exit $status
