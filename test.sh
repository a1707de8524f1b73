#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test. Pass "asan" to use the
# sanitizer build instead.
set -euo pipefail
cd "$(dirname "$0")"
preset="${1:-default}"
scripts/install-deps.sh
scripts/build.sh "$preset"
export QT_QPA_PLATFORM=offscreen
ctest --preset "$preset" --parallel "$(nproc)" --timeout 600
