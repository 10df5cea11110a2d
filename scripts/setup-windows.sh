#!/usr/bin/env bash
# Installs what the Windows builds need, only what is missing: the mingw-w64 cross
# compilers and widl, 64-bit Wine to run the tests and the COM server (never wine32: it
# breaks 64-bit Wine on these machines), Wine's headers for oaidl.idl/ocidl.idl, and
# socat. Recommends are left out.
set -euo pipefail
packages=(mingw-w64 mingw-w64-tools wine64 wine libwine-dev socat)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -q
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
