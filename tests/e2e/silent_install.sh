#!/usr/bin/env bash
# The silent route through `wine msiexec /qn`: the package calls
# ConfigurePrereqLauncher, which extracts one prerequisite from the setup
# executable and downloads the other from our server, and then starts
# [TV_PREREQ_CHAINER] as a type-50 action. The launcher runs both on their
# silent command lines and removes the fetched files and the folders made
# for them. A second installation whose mandatory prerequisite fails must
# fail as a whole: the action sits where the installation still sees it.
set -uo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
source "$root/scripts/wineenv.sh"
out="$(mktemp -d)"
trap 'wine reg delete "HKCU\\Software\\TvDemo" /f >/dev/null 2>&1; rm -rf "$out"' EXIT
failed=0
fail() { echo "FAIL: $*"; failed=1; }
win() { winepath -w "$1" 2>/dev/null; }
# The launcher's .ini is UTF-16LE; one key of it.
ini() { iconv -f UTF-16LE -t UTF-8 "$1" | tr -d '\r' | sed -n "s/^$2=//p"; }

ok="$out/ok"
mkdir -p "$ok"
if ! DEMO_SILENT=1 timeout 600 bash "$root/scripts/run-demo.sh" "$ok" >"$out/ok.txt" 2>&1; then
  cat "$out/ok.txt"; fail "the silent installation did not succeed"
fi
grep -q '^=== silent: msiexec exit code 0 ' "$out/ok.txt" || fail "msiexec did not end with 0"

# The library's side: no install phase ran, the launcher was configured.
# (CleanPrereq does run, after the launcher, and finds its files gone.)
grep -q -E '^TV_(InstallPrereq|DownloadPrereq|ExtractPrereq): ' "$ok/silent.lines" \
  && fail "an install phase ran on the silent route"
launcher="$(grep -a '^Property(S): TV_PREREQ_CHAINER = ' "$ok/silent.utf8.log" | tail -1 | sed 's/^.* = //')"
[ "$launcher" = "$(win "$ok/prereqs/tvpackagechainer.exe")" ] || fail "TV_PREREQ_CHAINER is '$launcher'"
grep -a -q -E '^Action ended [0-9:]+: TV_LaunchPrereqChainer\. Return value 1\.$' "$ok/silent.utf8.log" \
  || fail "the package did not start the launcher, or the action failed"

# Where the files came from: the setup executable over the pipe, our server.
grep -q '^args: /groupsextract:102; /out:"[^"]*prereqs" /callbackid:' "$ok/setup.exe.transcript" 2>/dev/null \
  || fail "DemoPrereq was not extracted from the setup executable"
[ "$(grep -c $'^GET\t/f/fakesetup.exe\t.*Tarvo' "$ok/web.log" 2>/dev/null)" = 1 ] \
  || fail "WebPrereq was not downloaded once from our server: $(cat "$ok/web.log" 2>/dev/null)"

# Each prerequisite ran once, from its fetched file, on its silent command
# line and not on the basic one.
record="$ok/demo-setup.txt"
[ "$(grep -c '/record:' "$record" 2>/dev/null)" = 2 ] || fail "expected two launches: $(cat "$record" 2>/dev/null)"
while IFS='|' read -r file silent; do
  line="$(grep -F "\\prereqs\\$file\"" "$record" 2>/dev/null | grep '/record:')"
  case "$line" in
    *"$file\" $silent /regvalue:"*) ;;
    *) fail "$file not run on '$silent': '$line'" ;;
  esac
  case "$line" in *"/passive"*) fail "$file ran on the basic command line" ;; esac
done <<'EOF'
fakesetup.exe|/quiet /norestart
web\websetup.exe|/q /silent
EOF
for value in Installed Web; do
  wine reg query 'HKCU\Software\TvDemo' /v $value >/dev/null 2>&1 || fail "no registry value $value: the setup did not act"
done

# The launcher's account of the run.
log="$ok/prereqs/tvpackagechainer.log"
for line in 'App1 (Demo prerequisite): starting .*\\prereqs\\fakesetup.exe with \[/quiet /norestart ' \
            'App1 (Demo prerequisite): ended with exit code 0' \
            'App2 (Demo downloaded prerequisite): starting .*\\prereqs\\web\\websetup.exe with \[/q /silent ' \
            'App2 (Demo downloaded prerequisite): ended with exit code 0' \
            'Chain finished with exit code 0'; do
  grep -q -- "$line" "$log" 2>/dev/null || fail "no launcher line '$line'"
done

# The fetched files and the folders made for them are gone; the stop folder
# and everything above it stay. The launcher's own files stay beside its
# log: it runs from there and can't remove itself.
stop="$(ini "$ok/prereqs/tvpackagechainer.ini" CleanupFolders)"
[ "$stop" = "$(win "$ok")" ] || fail "the stop folder is '$stop'"
[ -e "$ok/prereqs/fakesetup.exe" ] && fail "the extracted file is still there"
[ -e "$ok/prereqs/web" ] && fail "the download's folder is still there"
[ -d "$ok" ] && [ -d "$(dirname "$ok")" ] || fail "the stop folder or its parent went"
left="$(cd "$ok/prereqs" 2>/dev/null && find . -mindepth 1 | sort | tr '\n' ' ')"
[ "$left" = "./file_deleter.ps1 ./tvpackagechainer.exe ./tvpackagechainer.ini ./tvpackagechainer.log " ] \
  || fail "left in the prerequisites folder: $left"

# Again, with both prerequisites in place: the chain is empty, no launcher
# is configured and the package starts none.
timeout 300 wine msiexec /i "$(win "$ok/demo.msi")" /qn /l*v "$(win "$out/again.log")" \
  SETUPEXEDIR="$(win "$ok")" TV_SETUPEXEPATH="$(win "$ok/setup.exe")"
status=$?
[ $status = 0 ] || fail "the second installation: msiexec exit code $status"
if head -c2 "$out/again.log" | grep -q $'\xff\xfe'; then iconv -f UTF-16 -t UTF-8 "$out/again.log"; else cat "$out/again.log"; fi \
  | tr -d '\r' > "$out/again.txt"
grep -q '^Action start [0-9:]*: TV_ConfigurePrereqLauncher\.$' "$out/again.txt" || fail "the second installation did not configure"
grep -q 'TV_PREREQ_CHAINER = ' "$out/again.txt" && fail "a launcher was configured for an empty chain"
grep -q '^Action start [0-9:]*: TV_LaunchPrereqChainer\.$' "$out/again.txt" && fail "the launcher started for an empty chain"
[ "$(grep -c '/record:' "$record" 2>/dev/null)" = 2 ] || fail "a prerequisite ran again"

# A mandatory prerequisite that fails: the launcher's exit code fails the
# action, and msiexec reports the installation failed: 1603 on Windows,
# 1627 from Wine's msiexec; the shell sees either modulo 256.
wine reg delete 'HKCU\Software\TvDemo' /f >/dev/null 2>&1
bad="$out/bad"
mkdir -p "$bad"
DEMO_SILENT=1 DEMO_WEB_SETUP_EXIT=5 timeout 600 bash "$root/scripts/run-demo.sh" "$bad" >"$out/bad.txt" 2>&1
grep -q -E '^=== silent: msiexec exit code (67|91) ' "$out/bad.txt" || { cat "$out/bad.txt"; fail "a failed chain did not fail the installation"; }
grep -a -q -E '^Action ended [0-9:]+: TV_LaunchPrereqChainer\. Return value 1\.$' "$bad/silent.utf8.log" \
  && fail "the launcher's failure did not fail its action"
grep -q 'App2 (Demo downloaded prerequisite): failed, mandatory' "$bad/prereqs/tvpackagechainer.log" 2>/dev/null \
  && grep -q 'Chain finished with exit code 5' "$bad/prereqs/tvpackagechainer.log" \
  || fail "the launcher did not end with the mandatory row's code"
[ -e "$bad/prereqs/web" ] && fail "a failed chain left the download's folder"

[ $failed -eq 0 ] && echo "silent route: both prerequisites fetched and run silently by the launcher, cleaned up, failure seen"
exit $failed
