#!/usr/bin/env bash
# Installs the Debian packages the project builds with, only those that are missing.
set -euo pipefail
packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libcli11-dev python3)
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
