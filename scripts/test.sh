#!/usr/bin/env bash
# Sets everything up, builds, and runs the whole test suite under Wine.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/setup.sh"
bash "$root/scripts/build.sh"
source "$root/scripts/wineenv.sh"
tv_wine_start
trap tv_wine_stop EXIT
ctest --test-dir "$root/build" --output-on-failure "$@"
