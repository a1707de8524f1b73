#!/usr/bin/env bash
# Configures and builds one preset: default (build/) or asan (build-asan/).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --parallel "$(nproc)"
