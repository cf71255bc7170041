#!/usr/bin/env bash
# Installs the cross toolchain, Wine and msitools when they are missing.
# Quiet and quick when everything is already there.
set -euo pipefail

need=()
command -v i686-w64-mingw32-g++-posix >/dev/null 2>&1 || need+=(g++-mingw-w64-i686)
command -v wine >/dev/null 2>&1 || need+=(wine wine64)
dpkg -s wine32:i386 >/dev/null 2>&1 || need+=(wine32:i386)
command -v msiinfo >/dev/null 2>&1 || need+=(msitools)
command -v cmake >/dev/null 2>&1 || need+=(cmake)
command -v python3 >/dev/null 2>&1 || need+=(python3)
[ -d /usr/src/googletest/googletest ] || need+=(googletest)
command -v ninja >/dev/null 2>&1 || need+=(ninja-build)
command -v openssl >/dev/null 2>&1 || need+=(openssl)  # bench/md5.sh compares with it
# The download tests' FTP server and the benchmark's native client.
/usr/bin/python3 -c 'import pyftpdlib' >/dev/null 2>&1 || need+=(python3-pyftpdlib)
command -v curl >/dev/null 2>&1 || need+=(curl)
# tvpkg: its description format and its JSON output (header-only), and wixl,
# which builds the tvpkg tests' package from a .wxs.
dpkg -s libtoml11-dev >/dev/null 2>&1 || need+=(libtoml11-dev)
dpkg -s nlohmann-json3-dev >/dev/null 2>&1 || need+=(nlohmann-json3-dev)
command -v wixl >/dev/null 2>&1 || need+=(wixl)
# Some hosts' kernels refuse 32-bit executables; there the 32-bit Wine runs
# under qemu's user-mode emulation, which needs the preloader to lay out the
# address space the way Wine expects.
dpkg -s wine32-preloader:i386 >/dev/null 2>&1 || need+=(wine32-preloader:i386)

if [ ${#need[@]} -gt 0 ]; then
  echo "setup: installing ${need[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $SUDO dpkg --add-architecture i386
  fi
  export DEBIAN_FRONTEND=noninteractive
  # The security mirror's i386 index is sometimes out of step; the bookworm
  # suite alone has everything we need, so a partial update is fine.
  $SUDO apt-get update -qq >/dev/null 2>&1 || true
  $SUDO apt-get install -y -qq -t bookworm --no-install-recommends "${need[@]}" >/dev/null
fi

# A kernel without 32-bit support gets qemu registered for i386 executables.
# Bookworm's qemu 7.2 loses the trap number of faults that Wine's own
# handlers expect to see, which kills custom-action servers; trixie's qemu
# does not, and its static binary needs nothing else from trixie.
qemu=/opt/tvqemu/qemu-i386
binfmt=/proc/sys/fs/binfmt_misc
if [ -e "$binfmt/qemu-i386" ] || ! /lib/ld-linux.so.2 --version >/dev/null 2>&1; then
  if [ ! -x "$qemu" ]; then
    echo "setup: fetching qemu-i386 from Debian trixie"
    tmp="$(mktemp -d)"
    mkdir -p "$tmp/state/lists/partial" "$tmp/cache/archives/partial"
    cat > "$tmp/trixie.sources" <<'SRC'
Types: deb
URIs: http://deb.debian.org/debian
Suites: trixie
Components: main
Architectures: amd64
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
    apt_trixie=(apt-get -qq -o APT::Sandbox::User=root -o Dir::Etc::SourceList="$tmp/trixie.sources" -o Dir::Etc::SourceParts=/dev/null
                -o Dir::State="$tmp/state" -o Dir::Cache="$tmp/cache")
    "${apt_trixie[@]}" update >/dev/null
    (cd "$tmp" && "${apt_trixie[@]}" download qemu-user >/dev/null 2>&1)
    dpkg-deb -x "$tmp"/qemu-user_*.deb "$tmp/x"
    mkdir -p "$(dirname "$qemu")"
    cp "$tmp/x/usr/bin/qemu-i386" "$qemu"
    rm -rf "$tmp"
  fi
  [ -e "$binfmt/register" ] || mount -t binfmt_misc binfmt_misc "$binfmt"
  if [ -e "$binfmt/qemu-i386" ] && ! grep -q "interpreter $qemu\$" "$binfmt/qemu-i386"; then
    echo -1 > "$binfmt/qemu-i386"
  fi
  if [ ! -e "$binfmt/qemu-i386" ]; then
    echo "setup: running 32-bit executables through $qemu"
    printf '%s' ":qemu-i386:M::\\x7fELF\\x01\\x01\\x01\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x02\\x00\\x03\\x00:\\xff\\xff\\xff\\xff\\xff\\xfe\\xfe\\x00\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xfe\\xff\\xff\\xff:$qemu:F" > "$binfmt/register"
  fi
  /lib/ld-linux.so.2 --version >/dev/null 2>&1 || { echo "setup: 32-bit executables still do not run" >&2; exit 1; }
fi
