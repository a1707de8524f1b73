#!/usr/bin/env bash
# Tests the Debian package the way a user meets it: unpacks it, checks the desktop
# entry, the AppStream metainfo, the icons and the manual pages, runs the installed
# pellix-fa and pellix-virtual-camera (a virtual USB3 Vision camera too, through the
# installed libusb stand-in), starts the installed window on the demo simulator under
# Xvfb and takes a screenshot (build-package/window.png), then removes the package
# again.
#
#   scripts/test-package.sh [--system] [PACKAGE.deb]
#
# Without a package it builds one with scripts/package.sh first. By default the
# package is unpacked into a temporary root (dpkg -x) that is deleted at the end, so
# the machine stays as it was; --system installs it with dpkg -i (as root) and purges
# it at the end. The window runs with a temporary HOME either way.
#
# A package for 64-bit Arm (scripts/arm64.sh) is tried the same way, unpacked, its
# programs run under user-mode emulation (qemu-aarch64) against the arm64 libraries
# installed beside this machine's; the screenshot is then build-arm64/window.png.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$PWD

app_id=com.zorvan_technologies.PellixFileAccess
title="Zorvan Pellix File Access Assistant"

fail() {
    echo "test-package: FAILED: $*" >&2
    exit 1
}

installed() {
    [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null)" = "install ok installed" ]
}

# Runs inside xvfb-run: starts the window (through the emulator, when one is given),
# waits for it to appear, takes the screenshot and ends the program.
if [ "${1:-}" = "--window" ]; then
    bin=$2 shot=$3 log=$4 emulator=$5
    $emulator "$bin/pellix-file-access" >"$log" 2>&1 &
    pid=$!
    shown=
    for _ in $(seq 1 60); do
        if xwininfo -root -tree | grep "\"$title" >/dev/null; then
            shown=1
            break
        fi
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.5
    done
    if [ -z "$shown" ]; then
        kill "$pid" 2>/dev/null || true
        cat "$log" >&2
        fail "no window titled \"$title\" within 30 s"
    fi
    # Time for the demo cameras to arrive in the camera tree before the picture.
    sleep 3
    kill -0 "$pid" 2>/dev/null || { cat "$log" >&2; fail "the window program exited on its own"; }
    import -window root "$shot"
    kill "$pid"
    wait "$pid" || true
    exit 0
fi

system=
deb=
for argument in "$@"; do
    case "$argument" in
        --system) system=1 ;;
        -*) echo "usage: $0 [--system] [PACKAGE.deb]" >&2; exit 2 ;;
        *) deb=$(realpath "$argument") ;;
    esac
done
started=$(date +%s)

# dpkg-checkbuilddeps (dpkg-dev), xwininfo (x11-utils), import and identify (imagemagick).
packages=(dpkg-dev xvfb xauth x11-utils imagemagick desktop-file-utils appstream man-db python3)
missing=()
for p in "${packages[@]}"; do
    installed "$p" || missing+=("$p")
done
sudo=$([ "$(id -u)" -eq 0 ] || echo sudo)
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    $sudo apt-get update -q
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

if [ -z "$deb" ]; then
    scripts/package.sh >/dev/null
    deb=$(ls "$repo"/build-package/pellix-file-access_*.deb)
fi
[ -f "$deb" ] || fail "no package $deb"
package=$(dpkg-deb -f "$deb" Package)
echo "== $deb"

# Another machine's programs run through user-mode emulation; the emulator itself is a
# program of this machine, so a library preloaded into them is handed over with -E.
arch=$(dpkg-deb -f "$deb" Architecture)
emulator=
shot=$repo/build-package/window.png
if [ "$arch" != "$(dpkg --print-architecture)" ]; then
    [ -z "$system" ] || fail "a package for $arch is not installed on this machine; try it without --system"
    [ "$arch" = arm64 ] || fail "no emulator for $arch here"
    emulator="$(command -v qemu-aarch64) -L /"
    [ "$emulator" != " -L /" ] || fail "qemu-aarch64 is not installed (scripts/install-deps.sh arm64)"
    shot=$repo/build-$arch/window.png
    echo "ok   $arch programs run under $emulator"
fi
# Word-split on purpose: the emulator and its options, or nothing.
run() {
    $emulator "$@"
}
# How a program is started with the libusb stand-in preloaded: the path follows at once.
if [ -n "$emulator" ]; then
    preloaded="$emulator -E LD_PRELOAD="
else
    preloaded="env LD_PRELOAD="
fi

work=$(mktemp -d)
cleanup() {
    if [ -n "$system" ] && installed "$package"; then
        $sudo dpkg --purge "$package" >/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

# The package's Depends must all be met here, else what runs below proves nothing.
depends=$(dpkg-deb -f "$deb" Depends)
dpkg-checkbuilddeps -a "$arch" -d "$depends" /dev/null 2>"$work/unmet" ||
    fail "dependencies not installed: $(sed 's/.*Unmet build dependencies: //' "$work/unmet")"
echo "ok   Depends met: $depends"

if [ -n "$system" ]; then
    $sudo dpkg -i "$deb" >/dev/null
    root=
    echo "ok   installed with dpkg -i"
else
    root=$work/root
    dpkg -x "$deb" "$root"
    echo "ok   unpacked into $root"
fi
bin=$root/usr/bin
share=$root/usr/share

for program in pellix-file-access pellix-fa pellix-virtual-camera; do
    [ -x "$bin/$program" ] || fail "$program not installed"
done
echo "ok   programs in /usr/bin"

desktop=$share/applications/$app_id.desktop
desktop-file-validate "$desktop" || fail "desktop entry does not validate"
exec_name=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")
[ -x "$bin/$exec_name" ] || fail "desktop entry starts $exec_name, which is not installed"
[ "$(sed -n 's/^Icon=//p' "$desktop")" = "$app_id" ] || fail "desktop entry names another icon"
appstreamcli validate --no-net "$share/metainfo/$app_id.metainfo.xml" >"$work/appstream" ||
    { cat "$work/appstream"; fail "AppStream metainfo does not validate"; }
echo "ok   desktop entry and AppStream metainfo validate"

python3 scripts/draw-icons.py "$work/res" --hicolor "$work/hicolor"
for size in 16 32 48 64 128 256; do
    icon=$share/icons/hicolor/${size}x${size}/apps/$app_id.png
    [ -f "$icon" ] || fail "no ${size}x${size} icon"
    [ "$(identify -format '%wx%h' "$icon")" = "${size}x${size}" ] || fail "$icon is not ${size}x${size}"
    cmp -s "$icon" "$work/hicolor/${size}x${size}/apps/$app_id.png" ||
        fail "$icon is not what scripts/draw-icons.py draws"
done
echo "ok   icons 16 to 256 px, as scripts/draw-icons.py draws them"

for page in pellix-file-access.1 pellix-fa.1 pellix-virtual-camera.1 pellix-gentl.7; do
    file=$share/man/man${page##*.}/$page.gz
    [ -f "$file" ] || fail "no manual page for $page"
    LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$file" >/dev/null 2>"$work/man" || true
    [ ! -s "$work/man" ] || { cat "$work/man"; fail "manual page $page has errors"; }
    man -l "$file" 2>/dev/null | grep "^NAME" >/dev/null || fail "manual page $page does not render"
done
echo "ok   manual pages render without warnings"

# Nothing below may reach the network: the simulator replaces every real transport layer.
export GRB_SIMULATOR=demo
version=$(run "$bin/pellix-fa" --version)
[[ "$version" == "pellix-fa $(dpkg-deb -f "$deb" Version)"* ]] || fail "pellix-fa --version said: $version"
echo "ok   pellix-fa --version: $version"

run "$bin/pellix-fa" --simulate list >"$work/list" 2>&1 || { cat "$work/list"; fail "pellix-fa --simulate list failed"; }
grep -q "40100271" "$work/list" && grep -q "22031577" "$work/list" ||
    { cat "$work/list"; fail "pellix-fa --simulate list misses the demo cameras"; }
echo "ok   pellix-fa --simulate list:"
sed 's/^/       /' "$work/list"

# The installed GenTL producer, loaded by the installed pellix-fa: its other transport
# layers search the network, so this runs in a namespace with only loopback.
cti=$(find "$root/usr/lib" -name pellix-gentl.cti)
[ -n "$cti" ] || fail "the GenTL producer pellix-gentl.cti is not installed"
isolate=
for candidate in "unshare -n" "unshare -rn"; do
    if $candidate true 2>/dev/null; then
        isolate=$candidate
        break
    fi
done
if [ -n "$isolate" ]; then
    env -u GRB_SIMULATOR GRB_GENTL_PRODUCER="$cti" $isolate $emulator "$bin/pellix-fa" list --all >"$work/gentl" 2>&1 ||
        { cat "$work/gentl"; fail "pellix-fa list with the installed GenTL producer failed"; }
    grep "Pellix GenTL Simulator" "$work/gentl" >/dev/null ||
        { cat "$work/gentl"; fail "pellix-fa list misses the GenTL producer's cameras"; }
    echo "ok   pellix-fa with the installed GenTL producer ($cti)"
else
    echo "skip the installed GenTL producer: no network namespace with only loopback can be made here"
fi

# Whole outputs to files: grep -q would stop reading early, and pipefail would take the
# writer's SIGPIPE for a failure.
run "$bin/pellix-virtual-camera" --help >"$work/vcam-help" || fail "pellix-virtual-camera --help failed"
grep "^usage: pellix-virtual-camera" "$work/vcam-help" >/dev/null || fail "pellix-virtual-camera --help"
run "$bin/pellix-virtual-camera" --serial 40100271 --print-xml >"$work/vcam-xml" || fail "pellix-virtual-camera --print-xml failed"
grep "<RegisterDescription" "$work/vcam-xml" >/dev/null || fail "pellix-virtual-camera --print-xml"
echo "ok   pellix-virtual-camera --help and --print-xml"

# The demo's USB3 Vision camera on a virtual USB bus, listed by pellix-fa through the
# installed stand-in. Without the simulator Aravis discovers on every network
# interface: this runs in a network namespace that has only loopback, or not at all.
standin=$(find "$root/usr/lib" -name libpellix-virtual-usb.so)
[ -f "$standin" ] || fail "the libusb stand-in is not installed"
if unshare -rn true 2>/dev/null; then
    mkdir -p "$work/bus"
    env -u GRB_SIMULATOR PELLIX_VIRTUAL_USB_DIR="$work/bus" unshare -rn sh -c '
        ip link set lo up
        $4 "$1/pellix-virtual-camera" --serial 22031577 --lifetime 60 >/dev/null & camera=$!
        for _ in $(seq 1 50); do [ -S "$PELLIX_VIRTUAL_USB_DIR/22031577.usb" ] && break; sleep 0.1; done
        $5"$2" "$1/pellix-fa" ls 22031577 >"$3" 2>&1; status=$?
        kill $camera
        exit $status' sh "$bin" "$standin" "$work/usb" "$emulator" "$preloaded" || { cat "$work/usb"; fail "pellix-fa ls on the virtual USB3 Vision camera"; }
    grep -q "gamma22.lut" "$work/usb" || { cat "$work/usb"; fail "the virtual USB3 Vision camera's files are not listed"; }
    echo "ok   pellix-fa on a virtual USB3 Vision camera through the installed libusb stand-in"
else
    echo "skip the virtual USB3 Vision camera: no network namespace can be made here"
fi

# The window, with a fresh account's folders.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset QT_QPA_PLATFORM
mkdir -p "$(dirname "$shot")"
rm -f "$shot"
xvfb-run -a -s "-screen 0 1280x800x24" "$0" --window "$bin" "$shot" "$work/window.log" "$emulator"
[ -s "$shot" ] || fail "no screenshot"
colours=$(identify -format '%k' "$shot")
[ "$colours" -ge 64 ] || fail "the screenshot is nearly empty ($colours colours)"
echo "ok   window on the demo cameras: screenshot $shot ($(identify -format '%wx%h' "$shot"), $colours colours)"

cleanup
trap - EXIT
if [ -n "$system" ]; then
    installed "$package" && fail "$package still installed"
    echo "ok   $package purged"
else
    echo "ok   temporary root removed"
fi
echo "test-package: all checks passed in $(($(date +%s) - started)) s"
