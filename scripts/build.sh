#!/usr/bin/env bash
# Configures and builds into build/ (or the folder in $BUILD_DIR), with extra CMake options after
# the folder: scripts/build.sh build-asan -DZERB_SANITIZE=ON
# With --arm64 first it cross-builds for arm64 servers into build-arm64/ (or the folder given);
# the programs there run under qemu-aarch64: qemu-aarch64 build-arm64/fmxhost 'ZbFile_Version'
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cross=()
if [ "${1:-}" = "--arm64" ]; then
  shift
  bash "$root/scripts/setup.sh" --arm64
  cross=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/aarch64-linux-gnu.cmake")
  dir=${1:-$root/build-arm64}
else
  bash "$root/scripts/setup.sh"
  dir=${1:-${BUILD_DIR:-$root/build}}
fi
shift || true
# ccache, where the machine has it, keeps the objects of the previous build (CI builds four times).
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" "${cross[@]}" "$@" >/dev/null
cmake --build "$dir" -j2
