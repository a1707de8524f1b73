#!/usr/bin/env bash
# Builds the Debian package: a Release build of the programs in build-package/, then
# CPack and lintian. Prints the path of the .deb as its last line.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
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

build=build-package
# Debian's hardening flags, as a Debian build of the package would use them.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
flags="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
cflags="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CFLAGS)"
ldflags="$(dpkg-buildflags --get LDFLAGS)"

# The install step must not wait for the tests and benchmarks: cpack installs what
# pellix_package_contents built.
cmake -S . -B "$build" -G Ninja \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON \
    -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_C_FLAGS="$cflags" \
    -DCMAKE_EXE_LINKER_FLAGS="$ldflags" \
    -DCMAKE_SHARED_LINKER_FLAGS="$ldflags" \
    -DCMAKE_MODULE_LINKER_FLAGS="$ldflags" >/dev/null
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
