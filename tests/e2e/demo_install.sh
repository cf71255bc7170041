#!/usr/bin/env bash
# Real installations through `wine msiexec`: every framed export runs as a
# type-1 custom action; the prerequisite is installed, verified, recorded for
# rollback and undone again, and the DLL's lines reach the verbose log under
# each action's name.
set -uo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
source "$root/scripts/wineenv.sh"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
failed=0
fail() { echo "FAIL: $*"; failed=1; }

if ! bash "$root/scripts/run-demo.sh" "$out" >"$out/run.txt" 2>&1; then
  cat "$out/run.txt"; fail "an msiexec run did not succeed"
fi
runs() { grep -c fakesetup.exe "$out/demo-setup.txt" 2>/dev/null || echo 0; }

# Every framed export names its action; nothing logs under another name.
for name in TV_AppSearchEx TV_InstallPrereq TV_VerifyPrePrereq TV_DownloadPrereq TV_ExtractPrereq \
            TV_VerifyPrereq TV_InstallPostPrereq TV_ConfigurePrereqLauncher; do
  grep -q "^$name: " "$out/install.utf8.log" || fail "no line of $name in the verbose log"
done
grep -E '^TV_[A-Za-z]+: ' "$out/install.utf8.log" \
  | grep -v -E '^(TV_AppSearchEx|TV_InstallPrereq|TV_VerifyPrePrereq|TV_DownloadPrereq|TV_ExtractPrereq|TV_VerifyPrereq|TV_InstallPostPrereq|TV_ConfigurePrereqLauncher|TV_CleanPrereq): ' \
  && fail "lines under an unexpected name"

# Installed once, its exit code in RetValPropName, verified, its undo stored.
grep -q '^TV_InstallPrereq: mApplicationPath=.*fakesetup.exe$' "$out/install.lines" || fail "no launch line"
grep -q -a 'DEMO_EXITCODE = 0' "$out/install.utf8.log" || fail "no exit code in RetValPropName"
grep -q -a 'Warning 415[34]\|Error 415[34]' "$out/install.utf8.log" && fail "verification reported it missing"
# The rollback run undid it with the stored command and nothing else ran.
grep -q '^TV_RollbackPrereq: Rollback prereq: DemoPrereq File: .*fakesetup.exe Cmd: /regdelete:' "$out/rollback.lines" \
  || fail "rollback did not run the stored undo command"
[ "$(runs)" = 2 ] || fail "expected one install and one undo, saw $(runs) runs"
wine reg query 'HKCU\Software\TvDemo' /v Installed >/dev/null 2>&1 && fail "the undo left the registry value"

# Without the atom the same installation logs nothing of ours.
wine msiexec /i "$(winepath -w "$out/demo.msi")" /qn /l*v "$(winepath -w "$out/quiet.log")" DEMO_EXITCODE=0
if iconv -f UTF-16 -t UTF-8 "$out/quiet.log" 2>/dev/null | grep -q -E '^TV_[A-Za-z]+: ' \
   || grep -a -q -E '^TV_[A-Za-z]+: ' "$out/quiet.log"; then
  fail "lines logged without the atom"
fi
[ $failed -eq 0 ] && echo "demo installation: logged under every action, installed, verified and rolled back"
exit $failed
