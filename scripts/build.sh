#!/usr/bin/env bash
# Configures and builds into build/ (or the folder in $BUILD_DIR), with extra CMake options after
# the folder: scripts/build.sh build-asan -DZERB_SANITIZE=ON
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-${BUILD_DIR:-$root/build}}
shift || true
bash "$root/scripts/setup.sh"
cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$dir" -j2
