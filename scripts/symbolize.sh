#!/usr/bin/env bash
# Prints the function, the source file and the line of addresses in a module, such as those in the report of a crash.
#
#   symbolize.sh [--base HEX] MODULE ADDRESS...
#
# MODULE is a copy of the module that crashed, signed or not. ADDRESS is hexadecimal and counts from where the module
# begins; with --base, where the module was loaded, it is one of the process. A function that was compiled into another
# one has that one in the next line.
#
# The lines come from the PDB file beside MODULE, or from a build of the same code with debug information, which is:
# cmake --preset windows-symbols && cmake --build --preset windows-symbols (for clang's modules: windows-clang).
#
# Exit code 0: every address has a line; 1: some have none; 2: there is nothing to look in.
from=$PWD
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
fail() {
    printf 'symbolize.sh: %s\n' "$*" >&2
    exit 2
}
usage() { fail "$1; see symbolize.sh --help"; }
# number HEX: debuggers write ` into long ones.
number() {
    local digits=${1//\`/}
    digits=${digits#0[xX]}
    [[ "$digits" =~ ^[0-9A-Fa-f]{1,16}$ ]] || usage "'$1' is no hexadecimal number"
    printf '%d' $((16#$digits))
}
code() { x86_64-w64-mingw32-objdump -s -j .text "$1" 2>/dev/null | tail -n +4 | sha256sum; }
# The PDB file has the same mark as its module, and mostly not as that of another build.
has_lines() {
    local debug pdb
    debug=$(llvm-readobj --sections --coff-debug-directory "$1")
    pdb=$(sed -n 's/^ *PDBFileName: //p' <<<"$debug")
    if [ -z "$pdb" ]; then
        grep -q ' \.debug_line ' <<<"$debug"
        return
    fi
    pdb="$(dirname "$1")/${pdb##*[\\/]}"
    [ -f "$pdb" ] && [ "$(sed -n 's/^ *PDBGUID: (\(.*\))$/\1/p' <<<"$debug" | tr -d ' ')" = "$(llvm-pdbutil dump --summary "$pdb" |
        sed -n 's/^ *GUID: {\(..\)\(..\)\(..\)\(..\)-\(..\)\(..\)-\(..\)\(..\)-\(.*\)}$/\4\3\2\1\6\5\8\7\9/p' | tr -d -)" ]
}

base=0
case "${1:-}" in
    -h | --help)
        sed -n '2,/^from=/s/^# \{0,1\}//p' scripts/symbolize.sh
        exit
        ;;
    --base)
        [ $# -ge 2 ] || usage "where was it loaded?"
        base=$(number "$2")
        shift 2
        ;;
    -*) usage "unknown option '$1'" ;;
esac
[ $# -ge 2 ] || usage "a module and an address are needed"
module=$(cd "$from" && realpath -m "$1")
shift
[ -f "$module" ] || fail "there is no $module"
size=$(x86_64-w64-mingw32-objdump -p "$module" 2>/dev/null | sed -n 's/^SizeOfImage[[:space:]]*//p' || true)
[ -n "$size" ] || fail "$module is no module for Windows"
of_module=$(code "$module") found=""
while IFS= read -r candidate; do
    if [ "$(code "$candidate")" = "$of_module" ] && has_lines "$candidate"; then
        found=$candidate
        break
    fi
done < <(printf '%s\n' "$module" && find out/windows-symbols out/clang/windows -name "$(basename "$module")" -type f 2>/dev/null)
[ -n "$found" ] || fail "$module has no debug information: no PDB file of its own beside it, no build of its code in" \
    "out/windows-symbols or out/clang; see symbolize.sh --help"

cd "$(dirname "$found")"
status=0
for address in "$@"; do
    at=$(($(number "$address") - base))
    if [ $at -lt 0 ] || [ $at -ge $((16#$size)) ]; then
        answer="outside of the module"
    else
        answer=$(llvm-symbolizer --obj="$(basename "$found")" --relative-address --output-style=GNU --pretty-print \
            --inlines --functions --demangle "$(printf '0x%x' $at)" |
            sed -e '/^$/d' -e 's# at /halvora/# at #' -e 's/ (discriminator [0-9]*)$//' -e ':up; s#[^/ ]*[^/ .]/\.\./##; t up')
    fi
    printf '%s: %s\n' "$address" "$answer"
    grep -qE ' at [^?].*:[1-9][0-9]*$' <<<"${answer%%$'\n'*}" || status=1
done
exit $status
