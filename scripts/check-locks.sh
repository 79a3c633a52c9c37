#!/usr/bin/env bash
# Nothing of the shipped modules asks the language runtime for a lock, a guarded static or a thread's own variable: those
# take memory when they are first used, end the process when there is none, and stay behind when the module goes. Objects
# show it by the names that they leave open; modules by what they would import if the runtime's locks were in them.
source "$(dirname "$0")/common.sh"
status=0
checked=0
# look COMMAND PATTERN FILE...
look() {
    local file found
    for file in "${@:3}"; do
        checked=$((checked + 1))
        found=$($1 "$file" | grep -owE "$2" | sort -u | tr '\n' ' ' || true)
        if [ -n "$found" ]; then
            echo "${file#"$OUT"/windows/} uses $found"
            status=1
        fi
    done
}
shopt -s globstar
look "x86_64-w64-mingw32-nm -u" '(pthread_|__cxa_guard_|__emutls_|_ZNSt[A-Za-z0-9]*(mutex|once))[A-Za-z0-9_]*' \
    "$OUT"/windows/{tslib,resources,shellext,companions,composition,AgentCore}/**/*.obj
look "x86_64-w64-mingw32-objdump -p" 'AddVectoredExceptionHandler|CreateSemaphore[AW]|TryEnterCriticalSection|TlsAlloc' \
    "$OUT"/windows/stage/*.dll
echo "$checked objects and modules checked"
exit $status
