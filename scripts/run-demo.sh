#!/usr/bin/env bash
# Builds the demo package and installs it twice with `wine msiexec`, the
# DLL's log switched on. The first installation searches the machine, runs
# the pre-install prerequisite and verifies it through the search, extracts
# one prerequisite from the setup executable (our test peer), downloads one
# from a local web server of ours, installs both and cleans up; the second,
# with DEMO_ROLLBACK_PRE=1, undoes the pre-install prerequisite. Prints the
# DLL's lines of each verbose log and what the prerequisites did; leaves the
# lines in <out>/install.lines and <out>/rollback.lines.
# With DEMO_SILENT=1 it builds the package of the silent route instead and
# installs it once with /qn: ConfigurePrereqLauncher fetches both
# prerequisites and the package starts tvpackagechainer.exe, which runs them
# on their silent command lines and cleans up; it prints the launcher's log
# and what ran, and leaves the DLL's lines in <out>/silent.lines.
# DEMO_WEB_SETUP_EXIT=<n> makes the mandatory downloaded prerequisite exit
# with n there, which fails the installation.
# With DEMO_PARALLEL=1 the first installation is followed by the same one
# through the parallel route (a fresh copy of the package, with
# TV_PARALLEL_DOWNLOAD=1: InstallPrereq installs each prerequisite while the
# next file comes), and both wall times are printed; its DLL lines go to
# <out>/parallel.lines.
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

# The program beside the package plays every prerequisite; the setup
# executable carries DemoPrereq (group 102: Sequence 2 + 100), and the web
# server serves WebPrereq's copy.
rm -rf "$out/web" "$out/prereqs"
mkdir -p "$out/web"
cp "$bin/fakesetup.exe" "$out/fakesetup.exe"
cp "$bin/fakesetup.exe" "$out/web/fakesetup.exe"
cp "$bin/extractpeer.exe" "$out/setup.exe"
printf 'payload 102 fakesetup.exe fakesetup.exe\nauto\n' > "$out/setup.exe.script"
# build_demo <package>: the demo product (makedemo base), the library
# written into it by `tvpkg apply` from its description, with WebPrereq's
# size and MD5 taken from this build's copy, and then linted: a finding
# fails the demo.
description="$root/tools/demo.toml"
[ "${DEMO_SILENT:-}" = 1 ] && description="$root/tools/demo-silent.toml"
build_demo() {
  local package=$1
  sed -e "s/@WEB_SIZE@/$(stat -c %s "$out/web/fakesetup.exe")/" \
      -e "s/@WEB_MD5@/$(md5sum "$out/web/fakesetup.exe" | cut -d' ' -f1)/" "$description" > "$out/demo.toml"
  wine "$bin/makedemo.exe" base "$(win "$package")" >/dev/null
  wine "$bin/tvpkg.exe" apply "$(win "$package")" "$(win "$out/demo.toml")" >/dev/null
  [ "${DEMO_SILENT:-}" = 1 ] || wine "$bin/makedemo.exe" finish "$(win "$package")" >/dev/null
  if wine "$bin/tvpkg.exe" lint "$(win "$package")" > "$out/lint.txt" 2>&1; then
    echo "=== tvpkg lint $(basename "$package"): no finding"
  else
    echo "=== tvpkg lint $(basename "$package"): findings"; tr -d '\r' < "$out/lint.txt" | sed 's/^/  /'
    return 1
  fi
}
build_demo "$out/demo.msi"
wine reg delete 'HKCU\Software\TvDemo' /f >/dev/null 2>&1 || true
wine reg delete 'HKCU\Software\Quillon' /f >/dev/null 2>&1 || true
rm -f "$out"/*.log "$out"/*.lines "$out/demo-setup.txt" "$out/setup.exe.transcript" "$out"/web.* "$out/demo-parallel.msi"

# The web server on a free loopback port; it ends when its lifeline file
# goes, and by itself after ten minutes.
touch "$out/web.lifeline"
python3 "$root/tests/download/testservers.py" --ports "$out/web.ports" --log "$out/web.log" \
  --lifeline "$out/web.lifeline" --root "$out/web" --limit 600 >/dev/null 2>&1 &
server=$!
trap 'rm -f "$out/web.lifeline"; wait $server 2>/dev/null || true' EXIT
for _ in $(seq 300); do [ -s "$out/web.ports" ] && break; sleep 0.1; done
port="$(awk '$1=="http"{print $2}' "$out/web.ports" 2>/dev/null)"
[ -n "$port" ] || { echo "demo: the web server did not start" >&2; exit 1; }

# install <name> [PROPERTY=value ...]: one msiexec run; its DLL lines go to
# <out>/<name>.lines. Some hosts write the log in UTF-16.
install() {
  local name=$1 status; shift
  set +e
  wine msiexec /i "$(win "${package:-$out/demo.msi}")" /qn /l*v "$(win "$out/$name.log")" "$@"
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

# A property's last value in a verbose log.
property() { grep -a -E "^Property\(S\): $2 = " "$out/$1.utf8.log" | tail -1 | sed 's/^Property(S): //'; }

show_effect() {
  echo "--- the prerequisites' record (command line, folder) ---"
  sed 's/^/  /' "$out/demo-setup.txt" 2>/dev/null || echo "  (empty: nothing ran)"
  echo "--- their registry values under HKCU\\Software\\TvDemo ---"
  wine reg query 'HKCU\Software\TvDemo' 2>/dev/null | tr -d '\r' | grep REG_SZ | sed 's/^ */  /' \
    || echo "  (none)"
  echo "--- stored rollback entries ---"
  wine reg query 'HKCU\Software\Quillon\Tarvo\Prerequisites' /s 2>/dev/null | tr -d '\r' \
    | grep TV_ROLLBACK_PREREQS | sed 's/^ */  /' | cat -v || echo "  (none)"
}

# What the fetching left behind: the setup executable's side of the
# extraction, the web server's log, and the prerequisites folder after the
# step named by $1 cleaned up.
show_delivery() {
  echo "--- the setup executable's side of the extraction ---"
  sed 's/^/  /' "$out/setup.exe.transcript" 2>/dev/null || echo "  (it did not run)"
  echo "--- the web server's log ---"
  sed 's/^/  /' "$out/web.log" 2>/dev/null || echo "  (empty)"
  echo "--- left in the prerequisites folder after $1 ---"
  if [ -d "$out/prereqs" ]; then find "$out/prereqs" | sed 's/^/  /'; else echo "  (the folder is gone)"; fi
}

wine "$bin/tvatom.exe" on >/dev/null
status=0
if [ "${DEMO_SILENT:-}" = 1 ]; then
  install silent SETUPEXEDIR="$(win "$out")" TV_SETUPEXEPATH="$(win "$out/setup.exe")" \
    DEMO_WEB_PORT="$port" ${DEMO_WEB_SETUP_EXIT:+DEMO_WEB_SETUP_EXIT=$DEMO_WEB_SETUP_EXIT} || status=$?
  echo "--- the launcher: TV_PREREQ_CHAINER and its log ---"
  echo "  $(property silent TV_PREREQ_CHAINER)"
  sed 's/^/  /' "$out/prereqs/tvpackagechainer.log" 2>/dev/null | tr -d '\r' || echo "  (no log: it did not run)"
  show_delivery "the launcher"
  show_effect
  wine "$bin/tvatom.exe" off >/dev/null
  exit $status
fi
# SETUPEXEDIR and TV_SETUPEXEPATH stand for the setup executable: without
# SETUPEXEDIR a silent installation is not verified and keeps its rollback
# entries in the session.
started=$(date +%s%N)
install install SETUPEXEDIR="$(win "$out")" TV_SETUPEXEPATH="$(win "$out/setup.exe")" \
  DEMO_WEB_PORT="$port" || status=$?
sequential_time=$(( ($(date +%s%N) - started) / 1000000 ))
echo "--- the search: TVDEMOPRE before any prerequisite ran, and at the end ---"
echo "  before: $(property install DEMO_SEARCH_BEFORE)"
echo "  end:    $(property install TVDEMOPRE)"
show_delivery CleanPrereq
show_effect
if [ "${DEMO_PARALLEL:-}" = 1 ]; then
  # A second product from the same description, on a machine put back as it
  # was before the first run, so that every prerequisite is missing again.
  build_demo "$out/demo-parallel.msi"
  wine reg delete 'HKCU\Software\TvDemo' /f >/dev/null 2>&1 || true
  rm -f "$out/demo-setup.txt" "$out/setup.exe.transcript"
  : > "$out/web.log"
  started=$(date +%s%N)
  package="$out/demo-parallel.msi" install parallel SETUPEXEDIR="$(win "$out")" \
    TV_SETUPEXEPATH="$(win "$out/setup.exe")" DEMO_WEB_PORT="$port" TV_PARALLEL_DOWNLOAD=1 || status=$?
  parallel_time=$(( ($(date +%s%N) - started) / 1000000 ))
  show_delivery "CleanPrereq of the parallel route"
  show_effect
  awk -v s="$sequential_time" -v p="$parallel_time" \
    'BEGIN { printf "wall time of the installation: sequential route %.1f s, parallel route %.1f s\n", s / 1000, p / 1000 }'
fi
install rollback DEMO_ROLLBACK_PRE=1 DEMO_WEB_PORT="$port" || status=$?
show_effect
wine "$bin/tvatom.exe" off >/dev/null
exit $status
