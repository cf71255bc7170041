#!/usr/bin/env bash
# Times DoAppSearchEx over 100, 1 000 and 10 000 registry rows in one run and
# prints the cost per row and the ratio of the largest to the smallest.
#   bash bench/search.sh [BUILD_FOLDER] [COUNT...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$root/build}" && pwd)"
shift || true
bench="$build/bin/searchbench.exe"
[ -f "$bench" ] || { echo "no $bench: build first (ninja -C $build searchbench)"; exit 1; }
source "$root/scripts/wineenv.sh"
tv_wine_start
trap tv_wine_stop EXIT
out="$(mktemp)"
timeout 1800 wine "$bench" "$@" >"$out" 2>&1 || { cat "$out"; rm -f "$out"; exit 1; }
tr -d '\r' <"$out"
rm -f "$out"
