#!/usr/bin/env bash
# The demo package installed through the parallel route by `wine msiexec`:
# DownloadPrereq and ExtractPrereq step aside, and InstallPrereq delivers
# both files on its second thread (one extracted from the setup executable,
# one downloaded from our server) while it launches them.
set -uo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
source "$root/scripts/wineenv.sh"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
failed=0
fail() { echo "FAIL: $*"; failed=1; }

if ! DEMO_PARALLEL=1 bash "$root/scripts/run-demo.sh" "$out" >"$out/run.txt" 2>&1; then
  cat "$out/run.txt"; fail "an msiexec run did not succeed"
fi
lines="$out/parallel.lines"
grep -q '^TV_InstallPrereq: Entering Install::ParalelDownloadInstall$' "$lines" || fail "the parallel route was not taken"
grep -q -E '^TV_(DownloadPrereq|ExtractPrereq): ' "$lines" && fail "DownloadPrereq or ExtractPrereq did work of their own"
# Both files came on InstallPrereq's delivery, in Sequence order.
grep -q '^TV_InstallPrereq: Prerequisites DownloadAndExtract started\.$' "$lines" || fail "no delivery"
grep -q '^TV_InstallPrereq: Pipe Inited:' "$lines" || fail "DemoPrereq was not extracted on the delivery"
grep -q '^TV_InstallPrereq: Prereq downloaded succesfully\.$' "$lines" || fail "WebPrereq was not downloaded on the delivery"
grep -q -P '^GET\t/f/fakesetup.exe\t\tTarvo\t' "$out/web.log" || fail "no request of WebPrereq's file"
grep -q '^args: /groupsextract:102; /out:"[^"]*prereqs" /callbackid:' "$out/setup.exe.transcript" 2>/dev/null \
  || fail "wrong extraction groups"
# Both launched from where they were delivered, and both ran.
grep -q '^TV_InstallPrereq: mApplicationPath=.*\\prereqs\\fakesetup.exe$' "$lines" || fail "no launch of the extracted file"
grep -q '^TV_InstallPrereq: mApplicationPath=.*\\prereqs\\web\\websetup.exe$' "$lines" || fail "no launch of the downloaded file"
grep -q '^TV_InstallPrereq: Exit Install::ParalelDownloadInstall$' "$lines" || fail "the route did not end"
for value in Installed Web; do
  grep -c "/regvalue:Software\\\\TvDemo\\\\$value=" "$out/demo-setup.txt" 2>/dev/null | grep -qx 1 \
    || fail "$value did not run exactly once on the parallel route"
done
grep -q -E '^wall time of the installation: sequential route [0-9.]+ s, parallel route [0-9.]+ s$' "$out/run.txt" \
  || fail "no wall times"
[ -d "$out/prereqs" ] && fail "the prerequisites folder is still there"
[ "$failed" = 0 ] && echo "parallel_install: all checks passed"
exit $failed
