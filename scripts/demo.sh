#!/usr/bin/env bash
# Sets everything up, builds, and runs the demo installation through
# `wine msiexec`, then shows the custom-action DLL's lines of its log.
set -euo pipefail
source "$(dirname "$0")/prepare.sh"
bash "$TV_ROOT/scripts/run-demo.sh" "$TV_ROOT/out"
