#!/usr/bin/env bash
# Every language has every string, in a module that is data only, and in letters that its ANSI code page has. The property
# page speaks them all.
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
# Callers of the narrow forms get the texts in the code page.
python3 - resources/strings/[0-9]*.rc companions/pages/texts.rc <<'END' || status=1
import pathlib, re, sys

pages = {1: "cp1256", 2: "cp1251", 5: "cp1250", 8: "cp1253", 13: "cp1255", 14: "cp1250", 17: "cp932", 18: "cp949", 21: "cp1250",
         24: "cp1250", 25: "cp1251", 27: "cp1250", 31: "cp1254", 34: "cp1251", (4, 1): "cp950", (4, 2): "cp936", (4, 4): "cp936"}
wrong, seen = 0, {}
for name in sys.argv[1:]:
    language = None
    for line in pathlib.Path(name).read_text(encoding="utf-8").splitlines():
        if found := re.match(r"(?:#define MODULE_)?LANGUAGE (\d+), (\d+)", line):
            language = tuple(map(int, found.groups()))
            seen.setdefault(name.rpartition("/")[0], set()).add(language)
        for text in re.findall(r'^    [A-Z_]+ "(.*)"$', line):
            page = pages.get(language, pages.get(language[0], "cp1252"))
            lost = [letter for letter in text if letter.encode(page, "ignore") == b""]
            if lost:
                print(f"{name}: {page} has no {' '.join(lost)}")
                wrong = 1
missing = seen["resources/strings"] - seen["companions/pages"]
if missing:
    print("the property page lacks", missing)
sys.exit(1 if wrong or missing else 0)
END
[ ${#sources[@]} -ge 25 ] || die "only ${#sources[@]} languages"
echo "${#sources[@]} languages checked"
exit $status
