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
runs() { grep -c '/record:' "$out/demo-setup.txt" 2>/dev/null || echo 0; }
# The package was written by tvpkg from tools/demo.toml and linted clean.
grep -q '^=== tvpkg lint demo.msi: no finding$' "$out/run.txt" || fail "tvpkg lint found problems in the demo"
grep -a -q -E '^Property\(S\): TV_LIBRARY_VERSION = [0-9]+\.[0-9]+\.[0-9]+' "$out/install.utf8.log" \
  || fail "the package does not carry the library's version"

# Every framed export names its action; nothing logs under another name.
for name in TV_AppSearchEx TV_InstallPrereq TV_VerifyPrePrereq TV_DownloadPrereq TV_ExtractPrereq \
            TV_VerifyPrereq TV_InstallPostPrereq TV_CleanPrereq; do
  grep -q "^$name: " "$out/install.utf8.log" || fail "no line of $name in the verbose log"
done
grep -E '^TV_[A-Za-z]+: ' "$out/install.utf8.log" \
  | grep -v -E '^(TV_AppSearchEx|TV_InstallPrereq|TV_VerifyPrePrereq|TV_DownloadPrereq|TV_ExtractPrereq|TV_VerifyPrereq|TV_InstallPostPrereq|TV_ConfigurePrereqLauncher|TV_CleanPrereq|TV_RollbackPrePrereq): ' \
  && fail "lines under an unexpected name"

# The pre-install prerequisite: found missing by our search, run, and seen
# arriving by the search that VerifyPrePrereq repeats.
grep -a -q 'DEMO_SEARCH_BEFORE = -$' "$out/install.utf8.log" || fail "the search found PreDemo before it ran"
grep -q '^TV_VerifyPrePrereq: \*\*Registry value search' "$out/install.lines" || fail "VerifyPrePrereq did not search again"
grep -a -q 'TVDEMOPRE = 1\.0\.0$' "$out/install.utf8.log" || fail "the search did not see PreDemo arrive"
# DemoPrereq: extracted from the setup executable, then launched from there.
# Wine formats a log line's text once more, so what stands in brackets is
# gone from the verbose log; the setup executable's transcript has it.
grep -q '^TV_ExtractPrereq: Pipe Inited:' "$out/install.lines" || fail "no extraction pipe"
grep -q '^args: /groupsextract:102; /out:"[^"]*prereqs" /callbackid:' "$out/setup.exe.transcript" 2>/dev/null \
  || fail "wrong extraction groups"
tail -2 "$out/setup.exe.transcript" 2>/dev/null | grep -q '> CLOSE' || fail "the setup executable did not close"
grep -q '^TV_InstallPrereq: mApplicationPath=.*\\prereqs\\fakesetup.exe$' "$out/install.lines" || fail "no launch of the extracted file"
grep -q -a 'DEMO_EXITCODE = 0' "$out/install.utf8.log" || fail "no exit code in RetValPropName"
# WebPrereq: downloaded from our server, checked, launched.
grep -q '^TV_DownloadPrereq: Prereq downloaded succesfully\.' "$out/install.lines" || fail "no download"
grep -q '^TV_DownloadPrereq: Integrity check passed\.' "$out/install.lines" || fail "no integrity check"
grep -q 'GET /f/fakesetup.exe.*Tarvo' "$out/web.log" 2>/dev/null || grep -q 'Tarvo' "$out/web.log" 2>/dev/null \
  || fail "the server saw no request from the library"
grep -q '^TV_InstallPrereq: mApplicationPath=.*\\prereqs\\web\\websetup.exe$' "$out/install.lines" || fail "no launch of the downloaded file"
grep -q -a 'DEMO_WEB_EXIT = 0' "$out/install.utf8.log" || fail "no exit code of the downloaded prerequisite"
grep -q -a 'Warning 415[34]\|Error 415[34]' "$out/install.utf8.log" && fail "verification reported one missing"
# CleanPrereq took the fetched files and the folders made for them.
[ -e "$out/prereqs" ] && fail "the prerequisites folder is still there"
# The rollback run undid PreDemo with the stored command and nothing else ran.
grep -q '^TV_RollbackPrePrereq: Rollback prereq: PreDemo File: .*Cmd: .*fakesetup.exe" /regdelete:' "$out/rollback.lines" \
  || fail "rollback did not run the stored undo command"
[ "$(runs)" = 4 ] || fail "expected three installs and one undo, saw $(runs) runs"
wine reg query 'HKCU\Software\TvDemo' /v Pre >/dev/null 2>&1 && fail "the undo left the registry value"

# Without the atom the same installation logs nothing of ours.
wine msiexec /i "$(winepath -w "$out/demo.msi")" /qn /l*v "$(winepath -w "$out/quiet.log")" DEMO_EXITCODE=0 DEMO_WEB_EXIT=0
if iconv -f UTF-16 -t UTF-8 "$out/quiet.log" 2>/dev/null | grep -q -E '^TV_[A-Za-z]+: ' \
   || grep -a -q -E '^TV_[A-Za-z]+: ' "$out/quiet.log"; then
  fail "lines logged without the atom"
fi
[ $failed -eq 0 ] && echo "demo installation: logged under every action, installed, verified and rolled back"
exit $failed
