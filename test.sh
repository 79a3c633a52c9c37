#!/usr/bin/env bash
# Passes all tests; sets up what is missing first. Safe to run again and again: it builds only what changed.
#
#   ./test.sh              everything
#   ./test.sh host         the host suites (ASan+UBSan, TSan)
#   ./test.sh windows      the Windows suites under Wine
#   ./test.sh lint         formatting and static checks
#   ./test.sh presets      builds every preset that no other part builds
#   ./test.sh bench        the benchmarks (not part of "everything": they measure, they do not judge)
#   ./test.sh mutants N    puts N small faults into the code, one at a time, and tells which no host test notices (nor
#                          this; some five seconds each; scripts/mutants.py --help has more)
#   ./test.sh --list       the names of all tests and checks, one a line
#   ./test.sh --only NAME  one of them: Suite, Suite.Test, either with *, or a check; wherever it runs
set -euo pipefail
usage() {
    printf 'test.sh: %s; see ./test.sh --help\n' "$1" >&2
    exit 2
}
part=all only=""
case "${1:-all}" in
    all | host | windows | lint | presets | bench) part=${1:-all} ;;
    mutants)
        [[ "${2:-}" =~ ^[1-9][0-9]*$ ]] || usage "how many faults?"
        part=mutants
        ;;
    --list) part=list ;;
    --only)
        [ -n "${2:-}" ] || usage "which test?"
        part=only only=$2
        ;;
    -h | --help)
        sed -n '2,/^set /s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
    *) usage "unknown part '$1'" ;;
esac
source "$(dirname "$0")/scripts/common.sh"
source scripts/suites.sh

is_part() { [ "$part" = all ] || [ "$part" = "$1" ]; }

say "Set-up"
scripts/packages.sh

case "$part" in
    list)
        list_tests
        exit 0
        ;;
    only)
        only_test "$only"
        closing_count
        exit
        ;;
    bench)
        exec scripts/bench.sh
        ;;
    mutants)
        shift
        exec scripts/mutants.py "$@"
        ;;
esac

if is_part lint; then
    say "Lint"
    check formatting
fi

if is_part host; then
    say "Host"
    build_host
    suite "host suites, ASan and UBSan" host_tests
    step "build with TSan" build host-tsan
    suite "host suites with threads, TSan" env TSAN_OPTIONS=halt_on_error=1 "$OUT/host-tsan/tests/halvora_tests"
fi

if is_part windows; then
    say "Windows under Wine"
    build_windows
    suite "contracts and Windows suites" windows_tests
    alone
    for name in "${windows_checks[@]}"; do check "$name"; done
    suite "command line" scripts/cli-tests.sh
    settle_wine
fi

if is_part presets; then
    say "Presets"
    check presets
fi

if is_part lint; then
    is_part windows || say "Lint"
    check clang-tidy
    check "share of test code"
fi

closing_count
