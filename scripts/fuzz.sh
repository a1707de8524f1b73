#!/usr/bin/env bash
# Fuzzes the virtual cameras' control message handling (GigE Vision with its stream
# packet resends, and USB3 Vision with the libusb stand-in's parsing) with libFuzzer
# (clang, with AddressSanitizer and UndefinedBehaviorSanitizer) for a bounded time
# each, in a build directory of its own. Skips, saying why, when clang or its fuzzer
# runtime is missing.
#
#   scripts/fuzz.sh [SECONDS]      (default 60, for each target)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
build=build-fuzz

if ! command -v clang >/dev/null || ! command -v clang++ >/dev/null; then
    echo "fuzz: skipped, clang is not installed (scripts/install-deps.sh installs it)"
    exit 0
fi
probe="$(mktemp -d)"
trap 'rm -rf "$probe"' EXIT
echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' >"$probe/probe.cpp"
if ! clang++ -fsanitize=fuzzer "$probe/probe.cpp" -o "$probe/probe" 2>/dev/null; then
    echo "fuzz: skipped, clang has no libFuzzer runtime (Debian package libclang-rt-dev)"
    exit 0
fi

# Everything the target links is instrumented for coverage; only the target links libFuzzer.
cmake -S . -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPELLIX_FUZZ=ON \
    -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
cmake --build "$build" --target fuzz_gvcp_handler fuzz_usb3
corpus="$build/fuzz-corpus"
if [ ! -d "$corpus" ]; then
    # Starting points: records of a sender/time byte, a 16-bit length and a message.
    mkdir -p "$corpus"
    printf '\x00\x00\x08\x42\x11\x00\x02\x00\x00\x00\x03' >"$corpus/discovery"
    printf '\x00\x00\x10\x42\x01\x00\x84\x00\x08\x00\x02\x00\x00\x00\x00\x00\x00\x00\xf8' >"$corpus/bootstrap"
    printf '\x00\x00\x14\x42\x01\x00\x86\x00\x0c\x00\x02\x00\x10\x04\x00\x00\x00\x00\x00\x00\x00\x02\x80' \
        >"$corpus/feature"
    printf '\x00\x00\x10\x42\x01\x00\x82\x00\x08\x00\x02\x00\x00\x0a\x00\x00\x00\x00\x00\x21\x00\x10\x42\x01\x00\x82\x00\x08\x00\x03\x00\x00\x0a\x00\x00\x00\x00\x02' \
        >"$corpus/control"
    printf '\x00\x00\x18\x42\x01\x00\x82\x00\x10\x00\x02\x00\x00\x0d\x18\x7f\x00\x00\x01\x00\x00\x0d\x00\x00\x00\x13\x88\x0c\x00\x14\x42\x00\x00\x40\x00\x0c\x00\x03\x00\x00\x00\x01\x00\x00\x00\x01\x00\x00\x00\x03' \
        >"$corpus/stream"
fi
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
"$build/tests/virtualcameras/gige/fuzz_gvcp_handler" -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 "$corpus"

corpus="$build/fuzz-corpus-usb3"
if [ ! -d "$corpus" ]; then
    # Starting points: records of a kind and time byte, a 16-bit length and the bytes.
    mkdir -p "$corpus"
    # A read of the manufacturer name.
    printf '\x00\x00\x18\x55\x33\x56\x43\x00\x40\x00\x08\x0c\x00\x01\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x40\x00\xff' \
        >"$corpus/read"
    # A write of the user-defined name.
    printf '\x00\x00\x18\x55\x33\x56\x43\x00\x40\x02\x08\x0c\x00\x02\x00\x84\x01\x00\x00\x00\x00\x00\x00\x61\x62\x63\x00\xff' \
        >"$corpus/write"
    # A reply as a device sends it, and a configuration descriptor with one interface.
    printf '\x01\x00\x1c\x50\x58\x56\x55\x01\x81\x00\x00\x01\x00\x00\x00\x0c\x00\x00\x00\x00\x00\x00\x00\x04\x00\x00\x00\x61\x62\x63\x64' \
        >"$corpus/reply"
    printf '\x02\x00\x19\x09\x02\x19\x00\x01\x01\x00\xc0\x00\x09\x04\x00\x00\x01\xef\x05\x00\x00\x07\x05\x81\x02\x00\x04\x00' \
        >"$corpus/config"
    printf '\x03\x00\x10\x90\x01\x02\x2c\x01\x00\x00\x05\x02\x41\x42\x43\x44\x45\x46\x47' >"$corpus/stream"
fi
"$build/tests/virtualcameras/usb3/fuzz_usb3" -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 "$corpus"
