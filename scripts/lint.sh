#!/usr/bin/env bash
# lint.sh format    every source file as .clang-format wants it
# lint.sh tidy      clang-tidy over the portable code, by .clang-tidy
# lint.sh fix       formats in place
source "$(dirname "$0")/common.sh"
mapfile -t sources < <(git ls-files --cached --others --exclude-standard '*.cpp' '*.h')
case "${1:-}" in
    format) clang-format-16 --dry-run -Werror "${sources[@]}" ;;
    fix) clang-format-16 -i "${sources[@]}" ;;
    tidy)
        [ -f "$OUT/host/compile_commands.json" ] || cmake --preset host
        # Shipped portable code: what the host compiles and a host process loads.
        mapfile -t portable < <(printf '%s\n' "${sources[@]}" |
            grep -E '^(tslib|AgentCore|resources|shellext)/.*\.cpp$' | grep -vE '/win32/|^shellext/server/')
        # Only what changed since its last clean run is looked at again.
        stamps="$OUT/lint"
        mkdir -p "$stamps"
        failed=0
        run_one() {
            local file=$1
            local stamp="$OUT/lint/${file//\//_}.stamp"
            local sum
            sum=$(cat "$file" "${file%.cpp}.h" .clang-tidy 2>/dev/null | sha256sum)
            [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$sum" ] && return 0
            clang-tidy -p "$OUT/host" --quiet --extra-arg=-Wno-unknown-warning-option "$file" && printf '%s' "$sum" >"$stamp"
        }
        export -f run_one
        export OUT
        printf '%s\0' "${portable[@]}" | xargs -0 -P 2 -I{} bash -c 'run_one {}' || failed=1
        exit $failed
        ;;
    *) die "usage: lint.sh format|tidy|fix" ;;
esac
