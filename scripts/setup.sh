#!/usr/bin/env bash
# Installs the Debian packages the project builds with, only those that are missing.
#   ./scripts/setup.sh           the native build, its tests and tools, the Python module
#   ./scripts/setup.sh windows   the Windows builds: the mingw-w64 cross compilers and widl,
#                                64-bit Wine for the tests and the COM server (never wine32:
#                                it breaks 64-bit Wine on these machines), Wine's headers for
#                                oaidl.idl/ocidl.idl, and socat. Recommends are left out.
#   ./scripts/setup.sh fuzz      clang and libFuzzer, for scripts/fuzz.sh
set -euo pipefail
case "${1:-}" in
  "") packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libcli11-dev python3
                # the Python module, its tests and pip install .
                python3-dev pybind11-dev python3-pybind11 python3-numpy python3-pytest
                python3-pip python3-setuptools python3-wheel) ;;
  windows) packages=(mingw-w64 mingw-w64-tools wine64 wine libwine-dev socat) ;;
  fuzz) packages=(cmake ninja-build clang libfuzzer-14-dev libclang-rt-14-dev libcli11-dev nlohmann-json3-dev) ;;
  *) echo "usage: $0 [windows|fuzz]" >&2; exit 2 ;;
esac
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
