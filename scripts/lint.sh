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
        [ -f "$OUT/host/build.ninja" ] || cmake --preset host
        mkdir -p "$OUT/lint"
        # The sources of a folder one behind the other in one file, 24 at most: the checks look at the standard
        # library's headers as long as at all of them. (An including file would not do: the analyzer looks at nothing
        # that is included.)
        look() {
            local name=$1 files=("${@:2}") whole="$OUT/lint/$1.cpp" stamp="$OUT/lint/$1.stamp" file line=1 places=""
            for file in "${files[@]}"; do
                places+="$line $file "
                line=$((line + $(wc -l <"$file")))
            done
            cat "${files[@]}" >"$whole"
            # Only what changed since its last clean run is looked at again.
            local sum
            sum=$({ cat "$whole" .clang-tidy && git ls-files -z '*.h' | xargs -0 cat; } | sha256sum)
            [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$sum" ] && return 0
            clang-tidy --quiet "$whole" -- -std=c++20 -I. -I"$OUT/host/generated" -Wall -Wextra -Wshadow 2>&1 |
                awk -v whole="$whole" -v places="$places" '
                    BEGIN { count = split(places, place, " ") }
                    index($0, whole ":") == 1 {
                        rest = substr($0, length(whole) + 2)
                        at = rest + 0
                        for (i = 1; i < count && place[i] <= at; i += 2) { first = place[i]; file = place[i + 1] }
                        sub(/^[0-9]+/, at - first + 1, rest)
                        $0 = file ":" rest
                    }
                    { print }' && printf '%s' "$sum" >"$stamp"
        }
        export -f look
        export OUT
        # Shipped portable code: what the host compiles and a host process loads.
        printf '%s\n' "${sources[@]}" |
            grep -E '^(tslib|AgentCore|resources|shellext)/.*\.cpp$' | grep -vE '/win32/|^shellext/server/' |
            awk -F/ '{
                    folder = $0
                    sub(/\/[^\/]*$/, "", folder)
                    gsub(/\//, "-", folder)
                    seen[folder] += 1
                    name = folder "-" int((seen[folder] + 23) / 24)
                    files[name] = files[name] " " $0
                }
                END { for (name in files) print name files[name] }' |
            xargs -P 2 -L 1 bash -o pipefail -c 'look "$@"' look
        ;;
    *) die "usage: lint.sh format|tidy|fix" ;;
esac
