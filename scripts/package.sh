#!/usr/bin/env bash
# Builds the Debian package: a Release build of the programs with Debian's hardening
# flags, then CPack and lintian. Prints the path of the .deb as its last line.
#
#   scripts/package.sh                    for this machine, in build-package/
#   scripts/package.sh --arch arm64       cross-built for 64-bit Arm, in build-arm64/
#   scripts/package.sh ... --configure    only configures the build folder (scripts/arm64.sh
#                                         builds everything in it, tests included, and
#                                         packages what it built)
set -euo pipefail
cd "$(dirname "$0")/.."

arch=$(dpkg --print-architecture)
configure_only=
while [ $# -gt 0 ]; do
    case "$1" in
        --arch) arch=$2; shift 2 ;;
        --configure) configure_only=1; shift ;;
        *) echo "usage: $0 [--arch arm64] [--configure]" >&2; exit 2 ;;
    esac
done
cross=()
if [ "$arch" = "$(dpkg --print-architecture)" ]; then
    build=build-package
    scripts/install-deps.sh
elif [ "$arch" = arm64 ]; then
    build=build-arm64
    cross=(-DCMAKE_TOOLCHAIN_FILE="$PWD/scripts/arm64-toolchain.cmake")
    scripts/install-deps.sh arm64
else
    echo "package: no cross build for $arch" >&2
    exit 2
fi

# dpkg-shlibdeps and dpkg-buildflags (dpkg-dev), CPack's strip (binutils), lintian.
packages=(dpkg-dev binutils lintian)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    sudo=$([ "$(id -u)" -eq 0 ] || echo sudo)
    echo "Installing: ${missing[*]}"
    $sudo apt-get update -q
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# Debian's hardening flags, as a Debian build of the package for that architecture
# would use them; dpkg-shlibdeps, run by CPack, reads the architecture there too.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_HOST_ARCH="$arch"
flags="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
cflags="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CFLAGS)"
ldflags="$(dpkg-buildflags --get LDFLAGS)"

# The install step must not wait for the tests and benchmarks: cpack installs what
# pellix_package_contents built. CI sets PELLIX_WERROR=ON.
cmake -S . -B "$build" -G Ninja "${cross[@]}" \
    -DCMAKE_BUILD_TYPE=Release \
    -DPELLIX_WERROR="${PELLIX_WERROR:-OFF}" \
    -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON \
    -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_C_FLAGS="$cflags" \
    -DCMAKE_EXE_LINKER_FLAGS="$ldflags" \
    -DCMAKE_SHARED_LINKER_FLAGS="$ldflags" \
    -DCMAKE_MODULE_LINKER_FLAGS="$ldflags" >/dev/null
if [ -n "$configure_only" ]; then
    echo "$PWD/$build"
    exit 0
fi
cmake --build "$build" --target pellix_package_contents --parallel "$(nproc)"

rm -f "$build"/*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/*.deb)

# Errors and warnings fail the build; informational and pedantic tags are shown (the
# ones overridden in packaging/lintian are explained there).
lintian --pedantic --info --fail-on error,warning "$deb" >&2 || {
    echo "lintian found errors or warnings in $deb" >&2
    exit 1
}
echo "$PWD/$deb"
