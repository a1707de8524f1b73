#!/usr/bin/env bash
# Installs the Debian packages the project needs, only those that are missing.
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

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    sudo=sudo
else
    sudo=
fi
echo "Installing: ${missing[*]}"
$sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
