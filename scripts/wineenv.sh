# Sourced by the other scripts: a project-local, headless 32-bit Wine prefix.
TV_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
export WINEPREFIX="${WINEPREFIX_TV:-$TV_ROOT/.wineprefix}"
export WINEARCH=win32
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY

# Creates the prefix on first use and sets it to report Windows 10.
tv_wine_prefix() {
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "wine: creating prefix $WINEPREFIX"
    wineboot -i >/dev/null 2>&1 || true
    wineserver -w
    winecfg -v win10 >/dev/null 2>&1 || true
    wineserver -w
  fi
}

# One persistent wineserver for the whole run; stopped by tv_wine_stop.
tv_wine_start() {
  tv_wine_prefix
  # Already running for this prefix is fine too.
  wineserver -p >/dev/null 2>&1 || true
  wine cmd /c exit >/dev/null 2>&1 || true
}

tv_wine_stop() {
  wineserver -k >/dev/null 2>&1 || true
  wineserver -w >/dev/null 2>&1 || true
}
