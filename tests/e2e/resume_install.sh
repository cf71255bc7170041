#!/usr/bin/env bash
# A restart and the resume after it, through `wine msiexec`: the first of two
# prerequisites asks for a restart, which this build records instead of
# doing; the run stops there (RESTART_STANDIN stands for the end of the
# process). The test then does what the system does at the next logon: it
# takes the RunOnce value and runs its command line. That installation finds
# the first prerequisite present, installs the second, registers its own
# resume and removes it again in CleanPrereq.
set -uo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
source "$root/scripts/wineenv.sh"
bin="$root/build/bin"
out="$(mktemp -d)"
failed=0
fail() { echo "FAIL: $*"; failed=1; }
win() { winepath -w "$1" 2>/dev/null; }
runonce='HKCU\Software\Microsoft\Windows\CurrentVersion\RunOnce'
cleanup() {
  [ -n "${code:-}" ] && wine reg delete "$runonce" /v "$code" /f >/dev/null 2>&1
  wine reg delete 'HKCU\Software\TvResume' /f >/dev/null 2>&1
  wine "$bin/tvatom.exe" off >/dev/null 2>&1
  rm -rf "$out"
}
trap cleanup EXIT
# The text of a log in UTF-8, whichever encoding the host wrote.
utf8() { if head -c2 "$1" | grep -q $'\xff\xfe'; then iconv -f UTF-16 -t UTF-8 "$1"; else cat "$1"; fi | tr -d '\r'; }
registered() { wine reg query "$runonce" /v "$code" 2>/dev/null | tr -d '\r' | sed -n 's/^ *[^ ]* *REG_SZ *//p'; }
launches() { local n; n=$(grep -c "resume-setup.txt\" /exit:0 $1\$" "$out/resume-setup.txt" 2>/dev/null); echo "${n:-0}"; }

wine reg delete 'HKCU\Software\TvResume' /f >/dev/null 2>&1
code="$(wine "$bin/makeresume.exe" "$(win "$out/resume.msi")" "$(win "$bin/tvprereq.dll")" | tr -d '\r')"
[ -n "$code" ] || { fail "no package"; exit 1; }
cp "$bin/fakesetup.exe" "$out/fakesetup.exe"
wine "$bin/tvatom.exe" on >/dev/null

# 1. Without a user interface the restart needs no consent: it is asked for
#    at once, and recorded.
timeout 240 wine msiexec /i "$(win "$out/resume.msi")" /qn /l*v "$(win "$out/first.log")" RESTART_STANDIN=1
status=$?
utf8 "$out/first.log" > "$out/first.txt"
[ $status = 0 ] || fail "first run: msiexec exit code $status"
grep -q '^TV_InstallPrereq: In this point we should restart the system$' "$out/first.txt" || fail "no restart asked for"
grep -q '^TV_InstallPrereq: Restart recorded, not done$' "$out/first.txt" || fail "restart not recorded by the seam"
[ "$(launches First)" = 1 ] || fail "first run: First launched $(launches First) times"
[ "$(launches Second)" = 0 ] || fail "first run: Second ran before the restart"
command="$(registered)"
expected="$(win /)"; expected="C:\\windows\\system32\\msiexec.exe /i \"$(win "$out/resume.msi")\" ADDLOCAL=Main "
[ "$command" = "$expected" ] || fail "registered command: '$command', expected '$expected'"

# 2. The next logon: the system deletes the value and runs its command line.
wine reg delete "$runonce" /v "$code" /f >/dev/null 2>&1
printf '%s\r\n' "$command" > "$out/runonce.bat"
timeout 240 wine cmd /c "$(win "$out/runonce.bat")" >/dev/null 2>&1
status=$?
[ $status = 0 ] || fail "resumed run: exit code $status"
[ "$(launches First)" = 1 ] || fail "resumed run: First launched again"
[ "$(launches Second)" = 1 ] || fail "resumed run: Second launched $(launches Second) times"
wine reg query 'HKCU\Software\TvResume' /v Second >/dev/null 2>&1 || fail "Second's value is not there"
# The resumed installation registered its own resume and CleanPrereq took it away.
[ -z "$(registered)" ] || fail "the registration is still there: $(registered)"
wine reg query 'HKCU\Software\TV Tests TvTemp' >/dev/null 2>&1 && fail "a temp key was left"

[ $failed -eq 0 ] && echo "resume: restart recorded, command registered, resumed run installed the rest and removed the registration"
exit $failed
