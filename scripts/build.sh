#!/usr/bin/env bash
# Configures (once) and builds the DLL, the tests and the demo tools.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build"
if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-i686.cmake" >/dev/null
fi
cmake --build "$build" -- --quiet
