#!/usr/bin/env bash
# How much of the code is tests: a quarter to a third is wanted. Above LIMIT percent this fails.
source "$(dirname "$0")/common.sh"
LIMIT=35
lines() { tr '\n' '\0' | xargs -0 -r cat | wc -l; }
code=$(git ls-files --cached --others --exclude-standard -- '*.cpp' '*.h' '*.rc' '*.idl' '*.rgs' '*.sh' '*.py' '*.wxs' '*.cmake' '*CMakeLists.txt')
tests=$(grep -E '^tests/|^test\.sh$|^scripts/(check-.*|cli-tests|suites|mutants|fuzz)\.(sh|py)$' <<<"$code")
all=$(lines <<<"$code") of_tests=$(lines <<<"$tests")
share=$(awk "BEGIN { printf \"%.1f\", 100 * $of_tests / $all }")
echo "note: $share % ($of_tests of $all lines)"
awk "BEGIN { exit !($share <= $LIMIT) }"
