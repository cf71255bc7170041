#!/usr/bin/env bash
# Sets everything up, builds, and runs the demo installation through
# `wine msiexec`, then shows the custom-action DLL's lines of its log.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/setup.sh"
bash "$root/scripts/build.sh"
source "$root/scripts/wineenv.sh"
tv_wine_start
trap tv_wine_stop EXIT
bash "$root/scripts/run-demo.sh" "$root/out"
