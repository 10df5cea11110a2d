#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds a separate project against it
# with find_package(tarnvik).
set -euo pipefail
build_dir=$1
source_dir=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build_dir" --prefix "$scratch/prefix" >/dev/null
cmake -S "$source_dir/tests/package/consumer" -B "$scratch/build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$scratch/build" >/dev/null
"$scratch/build/consumer"
