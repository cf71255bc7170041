#!/usr/bin/env bash
# Builds the demo package and installs it with `wine msiexec` with the DLL's
# log switched on; prints the DLL's lines of the verbose log and leaves them
# in <out>/demo.lines. Expects a build and a running wineserver.
#   run-demo.sh [out-folder]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
source "$root/scripts/wineenv.sh"
out="${1:-$root/out}"
mkdir -p "$out"
out="$(cd "$out" && pwd)"
bin="$root/build/bin"
win() { winepath -w "$1" 2>/dev/null; }

wine "$bin/makedemo.exe" "$(win "$out/demo.msi")" "$(win "$bin/tvprereq.dll")" >/dev/null
rm -f "$out/demo.log"
wine "$bin/tvatom.exe" on >/dev/null
set +e
wine msiexec /i "$(win "$out/demo.msi")" /qn /l*v "$(win "$out/demo.log")"
status=$?
set -e
wine "$bin/tvatom.exe" off >/dev/null

# Some hosts write the log in UTF-16.
if head -c2 "$out/demo.log" | grep -q $'\xff\xfe'; then
  iconv -f UTF-16 -t UTF-8 "$out/demo.log" | tr -d '\r' > "$out/demo.utf8.log"
else
  tr -d '\r' < "$out/demo.log" > "$out/demo.utf8.log"
fi
grep -E '^TV_[A-Za-z]+: ' "$out/demo.utf8.log" > "$out/demo.lines" || true

echo "msiexec exit code: $status (verbose log: $out/demo.log)"
echo "--- the DLL's lines, under the action that wrote them ---"
uniq -c "$out/demo.lines" | sed 's/^ *\([0-9]*\) \(.*\)/\2  (x\1)/'
exit $status
