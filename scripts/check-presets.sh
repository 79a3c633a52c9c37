#!/usr/bin/env bash
# Every preset builds that the other parts of test.sh do not build anyway.
source "$(dirname "$0")/common.sh"
built=""
for preset in $(sed -n 's/.*{ "name": "\([a-z-]*\)", "configurePreset".*/\1/p' CMakePresets.json); do
    case "$preset" in host-asan | host-tsan | windows | windows-clang) continue ;; esac
    build "$preset"
    built+=" $preset"
done
build host-release halvora_bench
build windows expansion_timing shell_timing start_stamp empty_module
echo "note:$built bench"
