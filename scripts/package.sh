#!/usr/bin/env bash
# Makes the release: the plug-in for x86_64 and for arm64 servers, built (arm64 cross-built) as the
# tests build them, without debug information, and checked before it is written:
#   dist/linux-x86_64/ZerbFile.fmx and dist/linux-arm64/ZerbFile.fmx
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
version=$(sed -n 's/^project(ZerbFile VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
release() {  # architecture, build folder, objcopy, machine as readelf names it, build.sh options
  local arch=$1 dir=$2 objcopy=$3 machine=$4
  shift 4
  bash "$root/scripts/build.sh" "$@" "$dir" >/dev/null
  local out="$root/dist/linux-$arch"
  mkdir -p "$out"
  "$objcopy" --strip-debug "$dir/ZerbFile.fmx" "$out/.ZerbFile.fmx.new"
  if ! readelf -h "$out/.ZerbFile.fmx.new" | grep -q "Machine: *$machine"; then
    echo "package: $dir/ZerbFile.fmx is not built for $machine" >&2
    exit 1
  fi
  if ! bash "$root/tests/check_module.sh" "$out/.ZerbFile.fmx.new" "$version"; then
    rm -f "$out/.ZerbFile.fmx.new"
    echo "package: the $arch plug-in fails its checks; nothing written" >&2
    exit 1
  fi
  mv "$out/.ZerbFile.fmx.new" "$out/ZerbFile.fmx"
  echo "wrote dist/linux-$arch/ZerbFile.fmx"
}
release x86_64 "$root/build" objcopy "Advanced Micro Devices X86-64"
release arm64 "$root/build-arm64" aarch64-linux-gnu-objcopy AArch64 --arm64
