#!/usr/bin/env bash
# Downloads the same 256 MiB file from our loopback server three ways (our
# FileTransfer, a minimal synchronous WinINet loop, native curl), prints
# MB/s of each, the ratio ours/raw and the progress records of our run;
# then how much of the file a resume after a drop at 50 % fetches again.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
source "$root/scripts/wineenv.sh"
bash "$root/scripts/build.sh"
tv_wine_start
size=$((256 * 1024 * 1024))
work="$(mktemp -d)"
touch "$work/lifeline"
/usr/bin/python3 "$root/tests/download/testservers.py" --ports "$work/ports" --log "$work/requests.log" \
  --lifeline "$work/lifeline" --limit 1800 >"$work/server.txt" 2>&1 &
server=$!
cleanup() { rm -f "$work/lifeline"; wait "$server" 2>/dev/null || true; rm -rf "$work"; tv_wine_stop; }
trap cleanup EXIT
for _ in $(seq 1 150); do [ -f "$work/ports" ] && break; sleep 0.2; done
port="$(awk '$1 == "http" {print $2}' "$work/ports")"
url="http://127.0.0.1:$port/b/size=$size"
bench="$root/build/bin/downloadbench.exe"
win() { winepath -w "$1"; }

ours="$(timeout 900 wine "$bench" ours "$url/ours.bin" "$(win "$work/ours.bin")" 2>/dev/null | tr -d '\r')"
raw="$(timeout 900 wine "$bench" raw "$url/raw.bin" "$(win "$work/raw.bin")" 2>/dev/null | tr -d '\r')"
curl_speed="$(curl -s -o "$work/curl.bin" -w '%{speed_download}' "$url/curl.bin")"
echo "$ours"
echo "$raw"
field() { sed -n "s/.*$1=\([0-9.]*\).*/\1/p" <<<"$2"; }
awk -v o="$(field MBps "$ours")" -v r="$(field MBps "$raw")" -v c="$curl_speed" -v rec="$(field records "$ours")" 'BEGIN {
  printf "FileTransfer %.2f MB/s, raw WinINet %.2f MB/s, curl %.2f MB/s\n", o, r, c / 1048576
  printf "ratio ours/raw %.3f (target >= 0.95), progress records %d (target <= 4096)\n", o / r, rec }'
sums="$(md5sum "$work/ours.bin" "$work/raw.bin" "$work/curl.bin" | awk '{print $1}' | sort -u | wc -l)"
[ "$sums" = 1 ] && echo "all three files have the same MD5" || echo "MD5 MISMATCH between the three files"
rm -f "$work/ours.bin" "$work/raw.bin" "$work/curl.bin"

: >"$work/requests.log"
half=$((size / 2))
timeout 900 wine "$bench" ours "http://127.0.0.1:$port/b/size=$size,drop=$half/resume.bin" "$(win "$work/resume.bin")" \
  2>/dev/null | tr -d '\r'
awk -F'\t' -v size="$size" '$2 ~ /resume/ { n++; if ($3 ~ /^bytes=/) { split(substr($3, 7), r, "-"); from = r[1] } }
  END { printf "resume after a drop at 50%%: %d requests, %.2f%% of the file fetched again (target <= 51%%)\n",
        n, (size - from) * 100 / size }' "$work/requests.log"
