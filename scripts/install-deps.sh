#!/usr/bin/env bash
# Installs the Debian packages the project needs, only those that are missing.
#
#   scripts/install-deps.sh           for building and testing on this machine
#   scripts/install-deps.sh arm64     besides, for cross-building for 64-bit Arm and
#                                     running the result under user-mode emulation
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    qtbase5-dev qtbase5-dev-tools libqt5concurrent5
    xvfb xauth iproute2
    libaravis-dev aravis-tools
    # aravis-0.8.pc requires libusb-1.0, which libaravis-dev does not pull in.
    libusb-1.0-0-dev
    # Zipped GenICam descriptions of GenTL producers' cameras, in both directions.
    zlib1g-dev
    # scripts/fuzz.sh: clang with its libFuzzer and sanitizer runtimes.
    clang libclang-rt-dev
)

cross=
case "${1:-}" in
    "") ;;
    arm64)
        cross=$1
        # The cross compiler and the emulator are this machine's; the libraries the
        # target's, installed beside this machine's own (multiarch), which moves this
        # machine's copies of them to the same version. Never aravis-tools:arm64: it
        # would replace this machine's Aravis tools, which the tests use.
        packages+=(
            crossbuild-essential-arm64 qemu-user
            qtbase5-dev:arm64 libqt5concurrent5:arm64 libaravis-dev:arm64 libusb-1.0-0-dev:arm64
            zlib1g-dev:arm64
            # aarch64-linux-gnu-pkg-config
            pkgconf:arm64
        )
        ;;
    *)
        echo "usage: $0 [arm64]" >&2
        exit 2
        ;;
esac

if [ "$(id -u)" -ne 0 ]; then
    sudo=sudo
else
    sudo=
fi
updated=
if [ -n "$cross" ] && ! dpkg --print-foreign-architectures | grep -qx "$cross"; then
    echo "Adding the architecture $cross"
    $sudo dpkg --add-architecture "$cross"
    # The new architecture's package lists, before anything is looked up.
    $sudo apt-get update -q
    updated=1
fi

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
[ -n "$updated" ] || $sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
