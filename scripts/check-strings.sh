#!/usr/bin/env bash
# Every language has every string, in a module that is data only.
#
#   check-strings.sh [FOLDER]     FOLDER holds <LCID>/ZebShellRes.dll; out/windows/res without it
source "$(dirname "$0")/common.sh"
folder=${1:-$OUT/windows/res}
tool=x86_64-w64-mingw32

# faults LCID < the module's resources as text: one line for each fault.
faults() {
    awk -v lcid="$1" '
        /^LANGUAGE / { split($0, part, /[ ,]+/); if (part[2] + 1024 * part[3] != lcid) print "resources of language " part[2] "," part[3] }
        /^  [0-9]+, L?".*"$/ {
            id = $1 + 0
            text = $0
            sub(/^  [0-9]+, L?"/, "", text)
            sub(/"$/, "", text)
            strings[id] = text
        }
        /VALUE "Translation"/ {
            translated = 1
            if ($3 != sprintf("0x%x,", lcid)) print "version of language " $3
        }
        END {
            count = split("1 2 101 102", wanted, " ")
            for (i = 1; i <= count; i++)
                if (strings[wanted[i]] == "") print "string " wanted[i] " is missing or empty"
            if (gsub(/&/, "&", strings[1]) != 1) print "string 1 has no single mnemonic"
            for (i = 2; i <= count; i++)
                if (strings[wanted[i]] ~ /&/) print "string " wanted[i] " has a mnemonic"
            if (!translated) print "no version"
        }'
}
# What makes a module more than data.
code() {
    $tool-objdump -h -p "$1" | awk '
        /DLL Name:/ { print "imports " $3 }
        /^AddressOfEntryPoint/ && $2 !~ /^0+$/ { print "an entry point at " $2 }
        $1 ~ /^[0-9]+$/ && NF == 7 && $2 != ".rsrc" { print "a section " $2 }'
}

status=0
checked=0
for source in resources/strings/[0-9]*.rc; do
    lcid=$(basename "$source")
    lcid=${lcid%%-*}
    module="$folder/$lcid/ZebShellRes.dll"
    if [ ! -f "$module" ]; then
        echo "$lcid: no module"
        status=1
        continue
    fi
    checked=$((checked + 1))
    resources=$($tool-windres -J coff -O rc -i "$module" 2>&1) || true
    found=$(faults "$lcid" <<<"$resources"; code "$module")
    if [ -n "$found" ]; then
        sed "s/^/$lcid: /" <<<"$found"
        status=1
    fi
done
[ $checked -ge 25 ] || { echo "only $checked languages"; exit 1; }
# The check itself must be able to fail.
[ -n "$(sed '/^  102, /d' <<<"$resources" | faults "$lcid")" ] || { echo "a missing string is not noticed"; exit 1; }
[ -z "$(faults 1 <<<"$resources")" ] && { echo "a wrong language is not noticed"; exit 1; }
[ -n "$(code "${BASH:-/bin/bash}" 2>/dev/null)" ] || { echo "code is not noticed"; exit 1; }
echo "$checked languages checked"
exit $status
