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
