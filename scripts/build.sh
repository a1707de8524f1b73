#!/usr/bin/env bash
# Configures and builds one preset: default (build/) or asan (build-asan/).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"
# CI sets PELLIX_WERROR=ON: a warning there fails the build.
cmake --preset "$preset" -DPELLIX_WERROR="${PELLIX_WERROR:-OFF}" >/dev/null
cmake --build --preset "$preset" --parallel "$(nproc)"
