#!/usr/bin/env bash
# HashFileMd5 of random files of many sizes against md5sum. Sizes sit on
# both sides of the MD5 block (64), its padding limit (56) and the read
# block (65536). An empty file is refused.
#   md5_files.sh PATH_OF_md5bench.exe
set -uo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
bench="$1"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
source "$root/scripts/wineenv.sh"

sizes=(0 1 55 56 63 64 65 119 120 65535 65536 65537 131072 3145745 $((200 * 1048576 + 3)))
files=()
for n in "${sizes[@]}"; do
  head -c "$n" /dev/urandom >"$out/f$n"
  files+=("Z:${out//\//\\}\\f$n")
done
mapfile -t ours < <(wine "$bench" hash "${files[@]}" | tr -d '\r')

failed=0
for i in "${!sizes[@]}"; do
  n=${sizes[$i]}
  if [ "$n" -eq 0 ]; then expected="-"; else expected="$(md5sum <"$out/f$n" | cut -d' ' -f1)"; fi
  if [ "${ours[$i]:-}" != "$expected" ]; then
    echo "FAIL: $n bytes: HashFileMd5 gave '${ours[$i]:-}', expected '$expected'"; failed=1
  fi
done
[ $failed -eq 0 ] && echo "HashFileMd5 matches md5sum on ${#sizes[@]} files"
exit $failed
