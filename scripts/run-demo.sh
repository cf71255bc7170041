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
# The prerequisite lies beside the package and is missing until it has run.
cp "$bin/fakesetup.exe" "$out/fakesetup.exe"
wine reg delete 'HKCU\Software\TvDemo' /f >/dev/null 2>&1 || true
rm -f "$out/demo.log" "$out/demo-setup.txt"
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
echo "--- what the prerequisite did ---"
echo "command line and folder it recorded:"
sed 's/^/  /' "$out/demo-setup.txt" 2>/dev/null || echo "  (nothing: it did not run)"
echo "registry value it set:"
wine reg query 'HKCU\Software\TvDemo' /v Installed 2>/dev/null | tr -d '\r' | grep Installed | sed 's/^ */  /' \
  || echo "  (none)"
grep -a -E 'DEMO_EXITCODE' "$out/demo.utf8.log" | tail -1 | sed 's/^/  /' || true
exit $status
