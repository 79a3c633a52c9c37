#!/usr/bin/env bash
# No object of the shipped modules asks the runtime for a lock, a guarded static or a thread's own variable: those take
# memory when they are first used, end the process when there is none, and are left behind when the module goes.
source "$(dirname "$0")/common.sh"
status=0 objects=0
while IFS= read -r object; do
    objects=$((objects + 1))
    found=$(x86_64-w64-mingw32-nm -u "$object" | grep -oE '(pthread_|__cxa_guard_|__emutls_|_ZNSt[A-Za-z0-9]*(mutex|once))[A-Za-z0-9_]*' || true)
    if [ -n "$found" ]; then
        echo "${object#"$OUT"/windows/} uses" $found
        status=1
    fi
done < <(find "$OUT"/windows/{tslib,resources,shellext,companions,composition,AgentCore} -name '*.obj')
echo "$objects objects checked"
[ "$objects" -gt 0 ] || status=1
exit $status
