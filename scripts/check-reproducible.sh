#!/usr/bin/env bash
# The shipped modules, built a second time from the same sources in another folder, are the same bytes before signing.
#
#   check-reproducible.sh loaded   only those that other programs load
source "$(dirname "$0")/common.sh"
again="$OUT/built-again-elsewhere"
mkdir -p "$again"
git ls-files -z --cached --others --exclude-standard | xargs -0 ls -d 2>/dev/null | tar -c -T - | tar -x -C "$again"
cd "$again"
[ -f out/windows/build.ninja ] || cmake --preset windows
programs=(zebdiag ScanAgent)
[ "${1:-}" != loaded ] || programs=()
cmake --build --preset windows --target zebshell2 zebpages resource_modules tsVrTrst tsSet tsQrtCtl "${programs[@]}"
compared=0 status=0
while IFS= read -r -d '' module; do
    compared=$((compared + 1))
    cmp "$OUT/windows/$module" "out/windows/$module" || status=1
done < <(cd out/windows && find . -path '*/CMakeFiles' -prune -o \( -name '*.dll' -o -name '*.exe' \) -print0)
echo "note: $compared modules the same"
[ "$compared" -gt 30 ] || status=1
exit $status
