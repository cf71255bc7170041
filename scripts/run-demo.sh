#!/usr/bin/env bash
# Builds the demo package and installs it twice with `wine msiexec`, the
# DLL's log switched on: first an installation that runs and verifies the
# prerequisite, then one with DEMO_ROLLBACK=1 that undoes it. Prints the
# DLL's lines of each verbose log and what the prerequisite did; leaves the
# lines in <out>/install.lines and <out>/rollback.lines.
# Expects a build and a running wineserver.
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
wine reg delete 'HKCU\Software\Quillon' /f >/dev/null 2>&1 || true
rm -f "$out"/*.log "$out"/*.lines "$out/demo-setup.txt"

# install <name> [PROPERTY=value ...]: one msiexec run; its DLL lines go to
# <out>/<name>.lines. Some hosts write the log in UTF-16.
install() {
  local name=$1 status; shift
  set +e
  wine msiexec /i "$(win "$out/demo.msi")" /qn /l*v "$(win "$out/$name.log")" "$@"
  status=$?
  set -e
  if head -c2 "$out/$name.log" | grep -q $'\xff\xfe'; then
    iconv -f UTF-16 -t UTF-8 "$out/$name.log" | tr -d '\r' > "$out/$name.utf8.log"
  else
    tr -d '\r' < "$out/$name.log" > "$out/$name.utf8.log"
  fi
  grep -E '^TV_[A-Za-z]+: ' "$out/$name.utf8.log" | grep -v 'RESET READER$' > "$out/$name.lines" || true
  echo "=== $name: msiexec exit code $status (verbose log: $out/$name.log)"
  sed 's/^/  /' "$out/$name.lines"
  return $status
}

show_effect() {
  echo "--- the prerequisite's record (command line, folder) ---"
  sed 's/^/  /' "$out/demo-setup.txt" 2>/dev/null || echo "  (empty: it did not run)"
  echo "--- its registry value HKCU\\Software\\TvDemo\\Installed ---"
  wine reg query 'HKCU\Software\TvDemo' /v Installed 2>/dev/null | tr -d '\r' | grep Installed | sed 's/^ */  /' \
    || echo "  (none)"
  echo "--- stored rollback entries ---"
  wine reg query 'HKCU\Software\Quillon\Tarvo\Prerequisites' /s 2>/dev/null | tr -d '\r' \
    | grep TV_ROLLBACK_PREREQS | sed 's/^ */  /' | cat -v || echo "  (none)"
}

wine "$bin/tvatom.exe" on >/dev/null
status=0
# SETUPEXEDIR stands for the setup executable: without it a silent
# installation is not verified and keeps its rollback entries in the session.
install install SETUPEXEDIR="$(win "$out")" || status=$?
grep -a -E 'DEMO_EXITCODE' "$out/install.utf8.log" | tail -1 | sed 's/^/  /' || true
show_effect
install rollback DEMO_ROLLBACK=1 || status=$?
show_effect
wine "$bin/tvatom.exe" off >/dev/null
exit $status
