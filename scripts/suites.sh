# What test.sh runs, and how it counts; sourced by it after common.sh.

passed=0 failed=0 skipped=0
within="timeout --kill-after=10 900"

# Every check by the name that is shown and asked for, with its command.
declare -A checks=(
    [formatting]="scripts/lint.sh format"
    [clang-tidy]="scripts/lint.sh tidy"
    [presets]="scripts/check-presets.sh"
    ["fuzz targets"]="scripts/fuzz.sh"
    ["share of test code"]="scripts/check-share.sh"
    ["folder with the newer Wine"]="scripts/wine10.sh"
    ["no plain signer names in modules"]="scripts/check-enciphered.sh"
    ["imports of the modules"]="scripts/check-imports.sh"
    ["locks of the modules"]="scripts/check-locks.sh"
    ["headers of the modules"]="scripts/check-binaries.py"
    ["modules built twice"]="scripts/check-reproducible.sh"
    ["installer"]="scripts/check-installer.sh"
    ["documents"]="scripts/check-docs.py"
    ["symbols of a crash"]="scripts/check-symbols.sh"
    ["platform kit"]="scripts/check-platform-kit.sh"
    ["strings of all languages"]="scripts/check-strings.sh"
)
windows_checks=("no plain signer names in modules" "imports of the modules" "locks of the modules" "headers of the modules" "strings of all languages")

declare -A begun=()
check_log() { printf '%s/check-%s.log' "$LOG" "${1//[^A-Za-z0-9]/-}"; }

# begin NAME: starts a check that takes the time that everything else leaves, until `check` asks for its end.
begin() {
    set -m  # in a process group of its own; a session of its own would get half of the processors
    nice -n 19 ${checks[$1]} >"$(check_log "$1")" 2>&1 </dev/null &
    begun[$1]=$!
    set +m
    trap 'kill -- "${begun[@]/#/-}" 2>/dev/null || true' EXIT  # each with its children; most have ended
}

# check NAME: one pass, one failure, or skipped; its exit code is left in `last`.
check() {
    local name=$1 log
    printf '  %-34s' "$name"
    log=$(check_log "$name")
    if [ -z "${begun[$name]:-}" ]; then
        ${checks[$name]} >"$log" 2>&1 </dev/null &
        begun[$name]=$!
    fi
    last=0
    wait "${begun[$name]}" || last=$?
    if [ $last -eq 0 ]; then
        passed=$((passed + 1))
        say "ok$(sed -n 's/^note: /, /p' "$log")"
    elif [ $last -eq 77 ]; then
        skipped=$((skipped + 1))
        say "skipped$(sed -n 's/^note: /, /p' "$log")"
    else
        failed=$((failed + 1))
        say "FAILED"
        tail -n "${HALVORA_LOG_LINES:-40}" "$log" >&2
    fi
}

# suite NAME COMMAND...: runs a GoogleTest binary, which must end by itself, and adds its counts to ours.
suite() {
    local name=$1 start=$SECONDS
    shift
    printf '  %-34s' "$name"
    local log="$LOG/suite-${name//[^A-Za-z0-9]/-}.log" code=0
    "$@" >"$log" 2>&1 </dev/null || code=$?
    tr -d '\r' <"$log" >"$log.clean" && mv "$log.clean" "$log"
    local ran ok skip
    ran=$(sed -n 's/^\[==========\] \([0-9]*\) tests\{0,1\} from .* ran.*/\1/p' "$log" | awk '{ n += $1 } END { print n + 0 }')
    ok=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests\{0,1\}\..*/\1/p' "$log" | awk '{ n += $1 } END { print n + 0 }')
    skip=$(sed -n 's/^\[  SKIPPED \] \([0-9]*\) tests\{0,1\}, .*/\1/p' "$log" | awk '{ n += $1 } END { print n + 0 }')
    local bad=$((ran - ok - skip))
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
        sed -n -e 's/^note: /    /p' -e 's/^.* failures swept$/    &/p' "$log"
    fi
}

closing_count() {
    printf '%d passed, %d failed, %d skipped\n' "$passed" "$failed" "$skipped"
    [ "$failed" -eq 0 ] && [ $((passed + skipped)) -gt 0 ]
}

build_host() { step "build with ASan and UBSan" build host-asan; }
# In two halves at the same time. Each sweep of failures says how many there were.
host_tests() {
    local half code=0 halves=()
    for half in 0 1; do
        GTEST_TOTAL_SHARDS=2 GTEST_SHARD_INDEX=$half ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 \
            UBSAN_OPTIONS=print_stacktrace=1 $within "$OUT/host-asan/tests/halvora_tests" "$@" >"$LOG/host-tests.$half" 2>&1 &
        halves+=($!)
    done
    for half in 0 1; do
        wait "${halves[$half]}" || code=$?
        cat "$LOG/host-tests.$half"
    done
    awk '/^faults: [0-9]+ flows/ { flows += $2; sites += $4; faults += $6 }
        END { if (flows) printf "note: %d flows, %d sites, %d faults\n", flows, sites, faults }' "$LOG"/host-tests.[01]
    return $code
}

build_windows() {
    step "build for Windows" build "windows${HALVORA_COMPILER:+-$HALVORA_COMPILER}"
    scripts/samples.sh
    scripts/stage.sh
    scripts/wine-prefix.sh
    export HALVORA_SAMPLES HALVORA_STAGE
    HALVORA_SAMPLES=$(windows_path "$OUT/samples")
    HALVORA_STAGE=$(windows_path "$OUT/windows/stage")
}
windows_tests() { $within wine "$OUT/windows/tests/halvora_wine_tests.exe" "$@"; }
# Tests of what a process keeps for good: each in a process of its own, where no earlier test has paid for it.
alone_tests() { $within wine "$OUT/windows/tests/halvora_alone_tests.exe" "$@"; }

# names_of COMMAND...: Suite.Test of a GoogleTest binary, one a line.
names_of() {
    "$@" --gtest_list_tests 2>/dev/null | tr -d '\r' |
        awk '/^[^ ].*\.( |$)/ { suite = $1 } /^  [^ ]/ { print suite $1 }'
}

# each_alone [FILTER]: those of the tests, or all. A sample of the allocations that the memory sweep lets fail; ./test.sh
# memory takes all.
each_alone() {
    local -x HALVORA_SWEEP_STEP=${HALVORA_SWEEP_STEP:-29}
    local name
    for name in $(names_of alone_tests ${1:+"--gtest_filter=$1"}); do alone_tests --gtest_filter="$name"; done
}

# Runs one of these, or a command, in the folder with the newer Wine.
in_wine10() {
    $within scripts/wine10.sh bash -c 'source scripts/common.sh && source scripts/suites.sh && "$@"' bash "$@"
}

# Quiet set-up for questions about single tests.
list_tests() {
    build_host >/dev/null
    build_windows >/dev/null
    local binary
    for binary in host windows alone; do
        names_of "${binary}_tests" | sed "s/^/$(printf '%-9s' $binary)/"
    done
    printf 'check    %s\n' "${!checks[@]}" | sort
}

# only_test NAME: the check of that name, or the tests whose Suite or Suite.Test it is, in every binary that has it.
only_test() {
    local name=$1 suite_name=${1%%.*} found=0 binary
    if [ -n "${checks[$name]:-}" ]; then
        case "$name" in *modules* | *languages* | documents) build_windows ;; esac
        check "$name"
        return
    fi
    [[ "$name" == *.* ]] || name+=".*"
    # The sources say which binary has the suite, so that only that one is built.
    local -A sources=([host]="tests :!tests/wine" [windows]="tests/wine tests/contract :!tests/wine/alone"
        [alone]="tests/wine/alone")
    for binary in host windows alone; do
        if git grep -qE "TEST(_F|_P)?\((${suite_name//\*/.*})," -- ${sources[$binary]}; then
            found=1
            "build_${binary/alone/windows}"
            suite "$binary: $name" "${binary}_tests" --gtest_filter="$name"
        fi
    done
    [ $found -eq 1 ] || die "no test or check is called '$1'; ./test.sh --list has the names"
}
