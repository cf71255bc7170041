#!/usr/bin/env bash
# Sets everything up, builds, and runs the whole test suite under Wine.
set -euo pipefail
source "$(dirname "$0")/prepare.sh"
ctest --test-dir "$TV_ROOT/build" --output-on-failure "$@"
