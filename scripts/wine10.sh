#!/usr/bin/env bash
# Debian 13 with its Wine 10.0, in a folder below out/ that is made once, for a second run of the Windows suites.
#
#   wine10.sh               makes the folder and a prefix; exit code 77 and a note where that cannot be done
#   wine10.sh COMMAND...    runs a command in it, in this folder, which is there under the same path, with that prefix
#
# All that is mounted, and all that runs, is in name spaces that end with the command, however it ends.
source "$(dirname "$0")/common.sh"
FOLDER="$OUT/wine10/debian"
# This Wine looks for a session's folder, and a program's stderr says so where there is none.
export HALVORA_WINEPREFIX="$OUT/wine10/prefix" HOME=/root XDG_RUNTIME_DIR=/tmp
cannot() {
    printf 'note: %s\n' "$*"
    exit 77
}
# The mirror that this machine has its own packages from.
mirror() {
    apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Component: main' \
        "Codename: $(. /etc/os-release && printf '%s' "$VERSION_CODENAME")" | head -n 1
}
# In name spaces of its own: mounts what programs need, and runs the command in the folder.
inside='
    mount --bind /dev "$1/dev" && mount -t proc proc "$1/proc" && mount --bind "$2" "$1$2" &&
        exec chroot "$1" /bin/bash -c "cd \"\$0\" && \"\$@\"" "${@:2}"'
# Without heed to a signal, unshare would let it run on.
apart() {
    unshare --mount --pid --fork --kill-child "$@" &
    trap "kill -KILL $!" TERM INT
    wait $!
}
run() {
    mkdir -p "$FOLDER$ROOT"
    apart bash -c "$inside" bash "$FOLDER" "$ROOT" "$@"
}
# The Wine server ends at once, so that the registry is written.
settled='source scripts/common.sh; "$@" && code=0 || code=$?; wineserver -k || true; exit $code'

[ "$(id -u)" -eq 0 ] || cannot "it needs root"
if [ ! -f "$FOLDER/.halvora-ready" ]; then
    command -v debootstrap >/dev/null || cannot "it needs debootstrap"
    apart true || cannot "nothing can be mounted here"
    rm -rf "$OUT/wine10"
    mkdir -p "$FOLDER"
    [ -n "$(mirror)" ] || apt-get update -q
    apart debootstrap --variant=minbase trixie "$FOLDER" "$(mirror)" || cannot "its packages cannot be had"
    cp /etc/resolv.conf "$FOLDER/etc/"
    run env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
        -o Dpkg::Options::=--force-unsafe-io wine wine64 || cannot "its packages cannot be had"
    touch "$FOLDER/.halvora-ready"
fi
[ -f "$HALVORA_WINEPREFIX/.halvora-ready" ] || run bash -c "$settled" bash scripts/wine-prefix.sh
[ $# -eq 0 ] || run bash -c "$settled" bash "$@"
