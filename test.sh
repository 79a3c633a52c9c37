#!/usr/bin/env bash
# Passes all tests; sets up what is missing first. Safe to run again and again: it builds only what changed.
#
#   ./test.sh              everything
#   ./test.sh host         the host suites (ASan+UBSan, TSan)
#   ./test.sh windows      the Windows suites under Wine
#   ./test.sh lint         formatting and static checks
#   ./test.sh bench        the benchmarks (not part of "everything": they measure, they do not judge)
set -euo pipefail
case "${1:-all}" in
    all | host | windows | lint | bench) part=${1:-all} ;;
    -h | --help)
        sed -n '2,9s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
    *)
        printf "test.sh: unknown part '%s'; see ./test.sh --help\n" "$1" >&2
        exit 2
        ;;
esac
source "$(dirname "$0")/scripts/common.sh"

passed=0
failed=0
skipped=0

# suite NAME LOG-TAIL-ON-FAILURE COMMAND...: runs a GoogleTest binary and adds its counts to ours.
suite() {
    local name=$1 start=$SECONDS
    shift
    printf '  %-34s' "$name"
    local log="$LOG/suite-${name//[^A-Za-z0-9]/-}.log" code=0
    timeout --kill-after=10 900 "$@" >"$log" 2>&1 </dev/null || code=$?
    tr -d '\r' <"$log" >"$log.clean" && mv "$log.clean" "$log"
    local ran ok bad skip
    ran=$(sed -n 's/^\[==========\] \([0-9]*\) tests\{0,1\} from .* ran.*/\1/p' "$log" | tail -n 1)
    ok=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests\{0,1\}\..*/\1/p' "$log" | tail -n 1)
    skip=$(sed -n 's/^\[  SKIPPED \] \([0-9]*\) tests\{0,1\}, .*/\1/p' "$log" | tail -n 1)
    ran=${ran:-0} ok=${ok:-0} skip=${skip:-0}
    bad=$((ran - ok - skip))
    # A binary that died, or that ran nothing, is a failure whatever it counted.
    if [ "$code" -ne 0 ] && [ "$bad" -eq 0 ] || [ "$ran" -eq 0 ]; then
        bad=$((bad + 1))
    fi
    passed=$((passed + ok)) failed=$((failed + bad)) skipped=$((skipped + skip))
    printf '%d passed' "$ok"
    [ "$skip" -eq 0 ] || printf ', %d skipped' "$skip"
    if [ "$bad" -ne 0 ]; then
        printf ', %d FAILED (exit code %d)\n' "$bad" "$code"
        grep -E '^\[  FAILED  \]|Failure$|ERROR: |SUMMARY: |runtime error' "$log" | sort -u | head -n 30 >&2 || true
        tail -n "${HALVORA_LOG_LINES:-40}" "$log" >&2
    else
        printf ' (%d s)\n' $((SECONDS - start))
    fi
}

# check NAME COMMAND...: a check that is one pass or one failure.
check() {
    local name=$1
    shift
    printf '  %-34s' "$name"
    local log="$LOG/check-${name//[^A-Za-z0-9]/-}.log"
    "$@" >"$log" 2>&1 </dev/null &
    if wait $!; then
        passed=$((passed + 1))
        say "ok"
    else
        failed=$((failed + 1))
        say "FAILED"
        tail -n "${HALVORA_LOG_LINES:-40}" "$log" >&2
    fi
}

say "Set-up"
scripts/packages.sh

if [ "$part" = all ] || [ "$part" = lint ]; then
    say "Lint"
    check "formatting" scripts/lint.sh format
fi

if [ "$part" = all ] || [ "$part" = host ]; then
    say "Host"
    step "build with ASan and UBSan" build host-asan
    suite "host suites, ASan and UBSan" env ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 \
        UBSAN_OPTIONS=print_stacktrace=1 "$OUT/host-asan/tests/halvora_tests"
    step "build with TSan" build host-tsan
    suite "host suites with threads, TSan" env TSAN_OPTIONS=halt_on_error=1 "$OUT/host-tsan/tests/halvora_tests"
fi

if [ "$part" = all ] || [ "$part" = windows ]; then
    say "Windows under Wine"
    step "build for Windows" build windows
    scripts/samples.sh
    scripts/stage.sh
    scripts/wine-prefix.sh
    export HALVORA_SAMPLES HALVORA_STAGE
    HALVORA_SAMPLES=$(windows_path "$OUT/samples")
    HALVORA_STAGE=$(windows_path "$OUT/windows/stage")
    suite "contracts and Windows suites" wine "$OUT/windows/tests/halvora_wine_tests.exe"
    check "no plain signer names in modules" scripts/check-enciphered.sh
    check "imports of the modules" scripts/check-imports.sh
    check "strings of all languages" scripts/check-strings.sh
    suite "command line" scripts/cli-tests.sh
    settle_wine
fi

if [ "$part" = all ] || [ "$part" = lint ]; then
    check "clang-tidy" scripts/lint.sh tidy
fi

if [ "$part" = bench ]; then
    step "build for benchmarks" build host-release halvora_bench
    "$OUT/host-release/bench/halvora_bench"
    step "build for Windows" build windows zebdiag ScanAgent zebshell2 zebpages resource_modules tsVrTrst tsSet tsQrtCtl expansion_timing
    scripts/stage.sh
    scripts/wine-prefix.sh
    scripts/install.sh
    timing="$WINEPREFIX/drive_c/Program Files/Halvora/expansion_timing.exe"
    cp "$OUT/windows/bench/expansion_timing.exe" "$timing"
    wine "$timing" | tr -d '\r'
    rm "$timing"
    exit 0
fi

printf '%d passed, %d failed, %d skipped\n' "$passed" "$failed" "$skipped"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
