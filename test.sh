#!/usr/bin/env bash
# Passes all tests; sets up what is missing first. Safe to run again and again: it builds only what changed.
#
#   ./test.sh              everything
#   ./test.sh host         the host suites (ASan+UBSan, TSan)
#   ./test.sh windows      the Windows suites under Wine
#   ./test.sh wine10       the same under Debian 13's Wine 10.0, in a folder of its own (not part of "everything": making
#                          the folder takes two minutes); skipped where none can be made
#   ./test.sh clang        the same with what clang builds, and the lines of a crash (not part of "everything" either)
#   ./test.sh faults       lets every call of the platform fail, over every whole operation, on the host
#   ./test.sh memory       lets every allocation of the modules fail, over their whole lives (minutes; "everything" takes
#                          a sample)
#   ./test.sh fuzz         the fuzz targets, 30 seconds each ("everything": 5)
#   ./test.sh hygiene      what belongs to the host program, after every call, and what stays after many
#   ./test.sh attacks      what others put where the library looks, and who changes it meanwhile
#   ./test.sh binaries     what the modules are made of: headers, imports, locks, the same bytes when built twice
#                          ("everything": the libraries; the programs take as long again)
#   ./test.sh lint         formatting and static checks
#   ./test.sh kit          the kit for other machines, under both versions of Wine (not part of "everything": minutes)
#   ./test.sh presets      builds every preset that no other part builds (not part of "everything" either)
#   ./test.sh bench        the benchmarks (not part of "everything": they measure, they do not judge)
#   ./test.sh mutants N    puts N small faults into the code, one at a time, and tells which no host test notices (nor
#                          this; some five seconds each; scripts/mutants.py --help has more)
#   ./test.sh --list       the names of all tests and checks, one a line
#   ./test.sh --only NAME  one of them: Suite, Suite.Test, either with *, or a check; wherever it runs
set -euo pipefail
source "$(dirname "$0")/scripts/common.sh"
source scripts/suites.sh

usage() {
    printf 'test.sh: %s; see ./test.sh --help\n' "$1" >&2
    exit 2
}
set_up() {
    say "Set-up"
    scripts/packages.sh
}
part=${1:-all}
is_part() { [ "$part" = all ] || [ "$part" = "$1" ]; }

case "$part" in
    all | host | windows | wine10 | clang | faults | memory | fuzz | hygiene | attacks | binaries | lint | presets | kit) set_up ;;
    bench)
        set_up
        exec scripts/bench.sh
        ;;
    mutants)
        [[ "${2:-}" =~ ^[1-9][0-9]*$ ]] || usage "how many faults?"
        set_up
        exec scripts/mutants.py "${@:2}"
        ;;
    --list)
        set_up
        list_tests
        exit
        ;;
    --only)
        [ -n "${2:-}" ] || usage "which test?"
        set_up
        only_test "$2"
        closing_count
        exit
        ;;
    -h | --help)
        sed -n '2,/^set /s/^# \{0,1\}//p' test.sh
        exit
        ;;
    *) usage "unknown part '$part'" ;;
esac

if is_part lint; then
    say "Lint"
    check formatting
    begin clang-tidy
fi

if is_part host; then
    say "Host"
    build_host
    suite "host suites, ASan and UBSan" host_tests
    step "build with TSan" build host-tsan
    suite "host suites with threads, TSan" env TSAN_OPTIONS=halt_on_error=1 $within "$OUT/host-tsan/tests/halvora_tests"
fi

if is_part fuzz || [ "$part" = host ]; then
    is_part host || say "Fuzzing"
    [ "$part" = fuzz ] || checks["fuzz targets"]="scripts/fuzz.sh 5"
    check "fuzz targets"
    sed -n 's/ ok (\(.*\))$/: \1/p' "$(check_log "fuzz targets")" | grep -v 'fuzz targets' | sed 's/^ */    /; s/  *:/:/'
fi

if is_part windows; then
    say "Windows under Wine"
    build_windows
    checks["modules built twice"]="scripts/check-reproducible.sh loaded"
    begin "modules built twice"
    begin "installer"
    suite "contracts and Windows suites" windows_tests
    suite "leaks, a process for each test" each_alone
    for name in "${windows_checks[@]}"; do check "$name"; done
    suite "command line" $within scripts/cli-tests.sh
    check "documents"
    check "modules built twice"
    check "installer"
    settle_wine
fi

if [ "$part" = wine10 ]; then
    say "Windows under Wine 10.0"
    begin "folder with the newer Wine"
    build_windows
    check "folder with the newer Wine"
    if [ "$last" -eq 0 ]; then
        suite "contracts and Windows suites" in_wine10 windows_tests
        suite "leaks, a process for each test" in_wine10 each_alone
        suite "command line" in_wine10 scripts/cli-tests.sh
    fi
fi

if [ "$part" = clang ]; then
    say "Windows under Wine, built by clang"
    export HALVORA_COMPILER=clang
    source scripts/common.sh
    build_windows
    suite "contracts and Windows suites" windows_tests
    suite "leaks, a process for each test" each_alone
    for name in "${windows_checks[@]}" "symbols of a crash"; do check "$name"; done
    suite "command line" $within scripts/cli-tests.sh
    settle_wine
fi

case "$part" in
    faults)
        say "Faults"
        build_host
        suite "every call of the platform fails" host_tests --gtest_filter='*FaultSweep*'
        ;;
    memory)
        say "Memory"
        build_windows
        suite "every allocation fails" alone_tests --gtest_filter='*MemorySweep*'
        ;;
    hygiene)
        say "Hygiene"
        build_windows
        export HALVORA_SWEEP_STEP=1
        suite "what is the host's, and what stays" each_alone 'Hygiene.*:*Leak*:FailureBox.*'
        ;;
    attacks)
        say "Attacks"
        build_windows
        suite "attacks and hostile neighbours" windows_tests --gtest_filter='Attacks.*:HostileNeighbour.*'
        ;;
    binaries)
        say "Binaries"
        build_windows
        for name in "${windows_checks[@]}" "modules built twice"; do check "$name"; done
        ;;
esac

if [ "$part" = kit ]; then
    say "Kit"
    check "platform kit"
fi

if [ "$part" = presets ]; then
    say "Presets"
    check presets
fi

if is_part lint; then
    is_part windows || say "Lint"
    check clang-tidy
    check "share of test code"
fi

closing_count
