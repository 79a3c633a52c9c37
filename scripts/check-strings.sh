#!/usr/bin/env bash
# Every language has every string, in a module that is data only, and in letters that its ANSI code page has. The property
# page speaks them all.
source "$(dirname "$0")/common.sh"

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
    found=$(code "$OUT/windows/res/$lcid/ZebShellRes.dll" 2>&1 | sed "s/^/$lcid: /")
    [ -z "$found" ] || { status=1 && echo "$found"; }
done
# Callers of the narrow forms get the texts in the code page.
python3 - "${sources[@]}" companions/pages/texts.rc <<'END' || status=1
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
for name in sys.argv[1:-1]:
    source, lcid = pathlib.Path(name).read_text(encoding="utf-8"), int(re.search(r"\d+", name)[0])
    if found := re.search(r'#include "(\d.*)"', source):  # the texts of another one
        source += pathlib.Path("resources/strings", found[1]).read_text(encoding="utf-8")
    texts = re.findall(r'^    ([A-Z_]+) "(.+)"$', source, re.M)
    mnemonics = {text: found.count("&") for text, found in texts}
    if mnemonics != {"MENU_ITEM": 1, "MENU_HELP": 0, "REFUSAL_CAPTION": 0, "REFUSAL_TEXT": 0}:
        wrong = print(f"{name}: mnemonics {mnemonics}") or 1
    low, high, number, block = re.search(r'LANGUAGE (\d+), (\d+)\n.*_ID 0x(\w+)\n.*"(\w+)04B0"', source).groups()
    if {int(low) + 1024 * int(high), int(number, 16), int(block, 16)} != {lcid}:
        wrong = print(f"{name}: another language's number") or 1
missing = seen["resources/strings"] - seen["companions/pages"]
if missing:
    print("the property page lacks", missing)
sys.exit(1 if wrong or missing else 0)
END
[ ${#sources[@]} -ge 25 ] || die "only ${#sources[@]} languages"
echo "${#sources[@]} languages checked"
exit $status
