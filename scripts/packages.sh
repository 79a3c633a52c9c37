#!/usr/bin/env bash
# Installs what building and testing need on Debian 12. Does nothing when all is there.
#
#   packages.sh           for ./test.sh
#   packages.sh demo      and what ./demo.sh needs on top
source "$(dirname "$0")/common.sh"

packages=(
    g++ cmake ninja-build git                                     # host builds
    g++-mingw-w64-x86-64-posix mingw-w64-tools                    # Windows builds
    wine wine64 libwine-dev                                       # running them; the system's IDL files
    debootstrap                                                   # a folder with a newer Wine
    osslsigncode openssl                                          # development signing
    wixl msitools                                                 # the installer
    zip unzip                                                     # the kit for other machines
    libcli11-dev nlohmann-json3-dev                               # header-only packages of the tools
    googletest libgtest-dev libbenchmark-dev                      # tests and benchmarks
    python3                                                       # catalogs, the registry's map, checks
    clang-format-16 clang-tidy clang libclang-rt-dev              # lint and fuzzing
    lld llvm                                                      # Windows builds by clang, addresses of crashes
)
if [ "${1:-}" = demo ]; then
    packages+=(
        xvfb xdotool imagemagick                         # a display, keys, pictures
        fonts-dejavu-core fonts-wqy-microhei fonts-wine  # Latin to Arabic; Chinese, Japanese, Korean; window buttons
    )
fi
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || die "missing packages, and neither root nor sudo to install them: ${missing[*]}"
    as_root=(sudo)
fi
install() {
    "${as_root[@]}" apt-get update -q &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
}
step "packages (${#missing[@]} missing)" install
