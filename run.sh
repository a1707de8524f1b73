#!/usr/bin/env bash
# Installs what is missing, builds, and starts the tool on the simulator's demo cameras.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh
scripts/build.sh default
export GRB_SIMULATOR="${GRB_SIMULATOR:-demo}"
exec build/app/pellix-file-access "$@"
