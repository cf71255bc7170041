#!/usr/bin/env bash
# The parallel route against the sequential one: 4 prerequisites, each a
# throttled download from our loopback server and a setup that sleeps.
# Prints both wall times and the parallel route's ratio to the ideal.
#   bash bench/overlap.sh [N] [install ms] [trickle ms per KiB]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
source "$root/scripts/wineenv.sh"
bash "$root/scripts/build.sh"
tv_wine_start
work="$(mktemp -d)"
cp "$root/build/bin/fakesetup.exe" "$work/setup.exe"
touch "$work/lifeline"
/usr/bin/python3 "$root/tests/download/testservers.py" --ports "$work/ports" --log "$work/requests.log" \
  --lifeline "$work/lifeline" --root "$work" --limit 1800 >"$work/server.txt" 2>&1 &
server=$!
cleanup() { rm -f "$work/lifeline"; wait "$server" 2>/dev/null || true; rm -rf "$work"; tv_wine_stop; }
trap cleanup EXIT
for _ in $(seq 1 150); do [ -f "$work/ports" ] && break; sleep 0.2; done
port="$(awk '$1 == "http" {print $2}' "$work/ports")"
timeout 900 wine "$root/build/bin/overlapbench.exe" "$port" "${1:-4}" "${2:-2000}" "${3:-3}" >"$work/out.txt" 2>/dev/null || true
tr -d '\r' <"$work/out.txt"
