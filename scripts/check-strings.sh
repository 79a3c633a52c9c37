#!/usr/bin/env bash
# Every language has every string, in a module that is data only.
source "$(dirname "$0")/common.sh"

# faults LCID < the module's resources as text: one line for each fault.
faults() {
    awk -v lcid="$1" '
        /^LANGUAGE / { split($0, part, /[ ,]+/); if (part[2] + 1024 * part[3] != lcid) print "resources of language " part[2] "," part[3] }
        /^  [0-9]+, L?"/ && match($0, /".*"$/) { strings[$1 + 0] = substr($0, RSTART + 1, RLENGTH - 2) }
        /VALUE "Translation"/ {
            translated = 1
            if ($3 != sprintf("0x%x,", lcid)) print "version of language " $3
        }
        END {
            split("1 2 101 102", wanted)
            for (i in wanted) {
                id = wanted[i]
                if (strings[id] == "") print "string " id " is missing or empty"
                if (gsub(/&/, "&", strings[id]) != (id == 1)) print "string " id " has too many mnemonics or none"
            }
            if (!translated) print "no version"
        }'
}
# What makes a module more than data.
code() {
    x86_64-w64-mingw32-objdump -h -p "$1" | awk '
        /DLL Name:/ { print "imports " $3 }
        /^AddressOfEntryPoint/ && $2 !~ /^0+$/ { print "an entry point at " $2 }
        $1 ~ /^[0-9]+$/ && NF == 7 && $2 != ".rsrc" { print "a section " $2 }'
}

status=0
sources=(resources/strings/[0-9]*.rc)
for source in "${sources[@]}"; do
    lcid=$(basename "${source%%-*}")
    module="$OUT/windows/res/$lcid/ZebShellRes.dll"
    found=$(x86_64-w64-mingw32-windres -J coff -O rc -i "$module" 2>&1 | faults "$lcid"; code "$module" 2>&1) || true
    if [ -n "$found" ]; then
        sed "s/^/$lcid: /" <<<"$found"
        status=1
    fi
done
[ ${#sources[@]} -ge 25 ] || die "only ${#sources[@]} languages"
echo "${#sources[@]} languages checked"
exit $status
