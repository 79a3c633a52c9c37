#!/usr/bin/env bash
# Shipped modules import nothing but Windows' own modules, and no function that they look up because it may be missing:
# they could not be loaded where it is.
source "$(dirname "$0")/common.sh"
allowed='^(advapi32|bcrypt|comctl32|comdlg32|crypt32|gdi32|kernel32|msvcrt|ntdll|ole32|oleaut32|psapi|shell32|shlwapi|user32|version|winmm|wintrust|ws2_32)\.dll$'
status=0
modules=("$OUT"/windows/stage/*.exe "$OUT"/windows/stage/*.dll)
for module in "${modules[@]}"; do
    imports=$(x86_64-w64-mingw32-objdump -p "$module")
    foreign=$(sed -n 's/^\tDLL Name: //p' <<<"$imports" | tr 'A-Z' 'a-z' | grep -vE "$allowed" || true)
    foreign+=$(grep -owE 'GetModuleHandleExW|CryptCATAdminAcquireContext2|CryptCATAdminCalcHashFromFileHandle2' <<<"$imports" || true)
    if [ -n "$foreign" ]; then
        echo "$(basename "$module") imports $foreign"
        status=1
    fi
done
echo "${#modules[@]} modules checked"
exit $status
