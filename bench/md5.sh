#!/usr/bin/env bash
# Times the library's MD5 (32-bit, under Wine) against `openssl dgst -md5`
# (native) on the same 1 GiB file, then both on memory alone.
#   bash bench/md5.sh [BUILD_FOLDER]      default: build
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$root/build}" && pwd)"
bench="$build/bin/md5bench.exe"
data="${TMPDIR:-/tmp}/tvprereq-md5-bench-1g.bin"
size=1073741824
runs=3

[ -x "$bench" ] || { echo "no $bench: build first (ninja -C $build md5bench)"; exit 1; }
command -v openssl >/dev/null || { echo "openssl is missing: bash scripts/setup.sh"; exit 1; }
if [ "$(stat -c %s "$data" 2>/dev/null || echo 0)" -ne $size ]; then
  echo "creating $data"
  head -c $size /dev/urandom >"$data.tmp" && mv "$data.tmp" "$data"
fi
# Both sides read from the page cache, not the disk.
cat "$data" >/dev/null

source "$root/scripts/wineenv.sh"
tv_wine_start
trap tv_wine_stop EXIT

ours="$(wine "$bench" file "Z:${data//\//\\}" $runs | tr -d '\r')"
our_digest="$(sed -n 's/^digest //p' <<<"$ours")"
our_rate="$(sed -n 's/.*: \([0-9.]*\) MB\/s$/\1/p' <<<"$ours")"

best=""
for _ in $(seq $runs); do
  start=$(date +%s.%N)
  ssl_digest="$(openssl dgst -md5 -r "$data" | cut -d' ' -f1)"
  stop=$(date +%s.%N)
  best="$(awk -v a="$best" -v s="$start" -v e="$stop" 'BEGIN { t = e - s; print (a == "" || t < a) ? t : a }')"
done
ssl_rate="$(awk -v n=$size -v t="$best" 'BEGIN { printf "%.1f", n / t / 1e6 }')"

[ "$our_digest" = "$ssl_digest" ] || { echo "DIGESTS DIFFER: ours $our_digest, openssl $ssl_digest"; exit 1; }
echo "file of $size bytes, digest $our_digest, best of $runs"
printf '  HashFileMd5 (wine, i686)   %8s MB/s\n' "$our_rate"
printf '  openssl dgst -md5 (native) %8s MB/s\n' "$ssl_rate"
awk -v a="$our_rate" -v b="$ssl_rate" 'BEGIN { printf "  ratio ours/openssl         %8.3f\n", a / b }'

# The same without reading a file: 1 GiB of one cached 64 KiB piece.
mem="$(wine "$bench" memory 1024 $runs | tr -d '\r')"
mem_rate="$(sed -n 's/.*: \([0-9.]*\) MB\/s$/\1/p' <<<"$mem")"
ssl_mem="$(openssl speed -bytes 65536 -seconds 3 md5 2>/dev/null | awk '$1 == "md5" { sub(/k$/, "", $2); printf "%.1f", $2 / 1000 }')"
echo "memory only, one 64 KiB piece"
printf '  Md5::Update (wine, i686)   %8s MB/s\n' "$mem_rate"
printf '  openssl speed md5 (native) %8s MB/s\n' "$ssl_mem"
awk -v a="$mem_rate" -v b="$ssl_mem" 'BEGIN { printf "  ratio ours/openssl         %8.3f\n", a / b }'
