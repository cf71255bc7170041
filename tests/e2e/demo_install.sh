#!/usr/bin/env bash
# A real installation through `wine msiexec`: every framed export runs as a
# type-1 custom action and its lines reach the verbose log under its name.
set -uo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
if ! bash "$root/scripts/run-demo.sh" "$out" >"$out/run.txt" 2>&1; then
  cat "$out/run.txt"; echo "FAIL: msiexec did not succeed"; exit 1
fi
failed=0
for name in TV_AppSearchEx TV_InstallPrereq TV_VerifyPrePrereq TV_DownloadPrereq TV_ExtractPrereq \
            TV_VerifyPrereq TV_InstallPostPrereq TV_ConfigurePrereqLauncher; do
  if ! grep -q "^$name: RESET READER\$" "$out/demo.lines"; then
    echo "FAIL: no line of $name in the verbose log"; failed=1
  fi
done
# ExtractSourceFiles has no frame: it must not name an action of its own.
if grep -v -E '^(TV_AppSearchEx|TV_InstallPrereq|TV_VerifyPrePrereq|TV_DownloadPrereq|TV_ExtractPrereq|TV_VerifyPrereq|TV_InstallPostPrereq|TV_ConfigurePrereqLauncher): ' "$out/demo.lines"; then
  echo "FAIL: lines under an unexpected name"; failed=1
fi
# The prerequisite ran once, with its command line, and reported its exit code.
if [ "$(grep -c fakesetup.exe "$out/demo-setup.txt" 2>/dev/null)" != 1 ]; then
  echo "FAIL: the prerequisite did not run exactly once"; failed=1
fi
if ! grep -q -a 'DEMO_EXITCODE = 0' "$out/demo.utf8.log"; then
  echo "FAIL: no exit code in RetValPropName"; failed=1
fi
if ! grep -q '^TV_InstallPrereq: mApplicationPath=.*fakesetup.exe$' "$out/demo.lines"; then
  echo "FAIL: no launch line of TV_InstallPrereq"; failed=1
fi
# With the atom gone, the same installation logs nothing of ours, and the
# prerequisite, present now, is not run again.
source "$root/scripts/wineenv.sh"
wine msiexec /i "$(winepath -w "$out/demo.msi")" /qn /l*v "$(winepath -w "$out/quiet.log")"
if iconv -f UTF-16 -t UTF-8 "$out/quiet.log" 2>/dev/null | grep -q -E '^TV_[A-Za-z]+: ' || grep -a -q -E '^TV_[A-Za-z]+: ' "$out/quiet.log"; then
  echo "FAIL: lines logged without the atom"; failed=1
fi
if [ "$(grep -c fakesetup.exe "$out/demo-setup.txt" 2>/dev/null)" != 1 ]; then
  echo "FAIL: a present prerequisite ran again"; failed=1
fi
[ $failed -eq 0 ] && echo "demo installation: all action names logged, the prerequisite ran once"
exit $failed
