#!/usr/bin/env bash
# 64-bit Arm: cross-builds the whole project with Debian's cross toolchain against
# Debian's arm64 packages (installed beside this machine's own, only what is missing),
# runs the whole test suite under user-mode emulation (qemu-aarch64: CTest starts each
# test through it, and the tests start our programs through it), then builds the arm64
# package, lints it and tries it out (scripts/test-package.sh).
#
#   scripts/arm64.sh
#
# Everything is built once, in build-arm64/, with the package's Release flags; the
# package is made from that same build. Each stage prints how long it took.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$PWD
build=$repo/build-arm64

stage_started=$(date +%s)
stage() {
    local now
    now=$(date +%s)
    echo "== arm64: $1 ($((now - stage_started)) s)"
    stage_started=$now
}

scripts/install-deps.sh arm64
stage "dependencies"

scripts/package.sh --arch arm64 --configure >/dev/null
cmake --build "$build" --parallel "$(nproc)"
stage "cross build"

# Aravis's tools for the target, for the USB3 Vision run of its camera tests: they reach
# the camera through the target's libusb stand-in, which this machine's tools cannot load.
# Unpacked, not installed: the arm64 package would replace this machine's tools.
tools=$build/aravis-tools
if [ ! -x "$tools/usr/bin/arv-test-0.8" ]; then
    rm -rf "$tools" "$build"/aravis-tools_*.deb
    # Fetched as root: apt's own download user may not write into the build folder.
    (cd "$build" && apt-get download -q -o APT::Sandbox::User=root aravis-tools:arm64 >/dev/null)
    dpkg-deb -x "$build"/aravis-tools_*_arm64.deb "$tools"
fi
stage "Aravis's tools for arm64"

# The emulated tests take several times longer than natively: each one's own patience is
# the native one, and CTest's bound on a test is raised to match.
export QT_QPA_PLATFORM=offscreen
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" --timeout 1800
stage "test suite under emulation"

deb=$(scripts/package.sh --arch arm64 | tail -n 1)
stage "package and lintian"

scripts/test-package.sh "$deb"
stage "package tried out under emulation"
