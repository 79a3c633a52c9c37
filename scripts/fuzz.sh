#!/usr/bin/env bash
# Fuzzes every target, two at a time, and prints a line for each. What was learned stays in out/fuzz/corpus/; a finding is
# in out/fuzz/found/ and makes this fail. tests/fuzz/README.md tells what to do with one.
#
#   fuzz.sh [SECONDS [TARGET...]]      30 seconds each, unless said otherwise
source "$(dirname "$0")/common.sh"
seconds=${1:-30}
targets=("${@:2}")
if [ ${#targets[@]} -eq 0 ]; then
    for file in tests/fuzz/*_fuzz.cpp; do
        targets+=("$(basename "$file" _fuzz.cpp)")
    done
fi
step "fuzz targets" build fuzz
mkdir -p "$OUT/fuzz/found"

fuzz() {
    local target=$1 log="$LOG/fuzz-$1.log" code=0
    mkdir -p "$OUT/fuzz/corpus/$target"
    nice "$OUT/fuzz/tests/fuzz/${target}_fuzz" "$OUT/fuzz/corpus/$target" "tests/fuzz/seeds/$target" \
        -dict="tests/fuzz/$target.dict" -max_total_time="$seconds" -max_len=4096 -timeout=20 -rss_limit_mb=1024 \
        -artifact_prefix="$OUT/fuzz/found/$target-" -print_final_stats=1 >"$log" 2>&1 </dev/null || code=$?
    stat() { sed -n "s/^stat::$1: *\([0-9]*\)\$/\1/p" "$log"; }
    local reached
    reached=$(sed -n 's/.*DONE *cov: \([0-9]*\).* corp: \([0-9]*\).*/\1 edges, corpus of \2/p' "$log")
    if [ $code -eq 0 ]; then
        printf '  %-34sok (%d runs, %d a second, %s)\n' "$target" "$(stat number_of_executed_units)" \
            "$(stat average_exec_per_sec)" "$reached"
    else
        printf '  %-34sFAILED\n' "$target"
        tail -n "${HALVORA_LOG_LINES:-40}" "$log" >&2
        sed -n "s|.*Test unit written to $ROOT/|artifact: |p" "$log"
    fi
    return $code
}

export -f fuzz
export ROOT OUT LOG seconds
printf '%s\n' "${targets[@]}" | xargs -P 2 -I {} bash -c 'fuzz {}' || die "fuzzing found something"
say "fuzz: ${#targets[@]} targets, $seconds seconds each, no finding"
