#!/usr/bin/env bash
# Sets up, cross-builds for arm64 (build-arm64/) and runs the tests there under qemu-aarch64, then
# checks that the arm64 plug-in answers as the x86_64 one in build/ (built first when missing).
# The whole suite runs; only the oracle tests of the two scans take a tenth of their rounds, as the
# byte-at-a-time oracle is a hundred times slower under emulation.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh" libimage-exiftool-perl exiv2 golang-github-rwcarlsen-goexif-dev \
  golang-github-disintegration-imaging-dev libjpeg-turbo-progs imagemagick ffmpeg ghostscript
bash "$root/scripts/build.sh" --arm64 "$root/build-arm64"
[ -x "$root/build/fmxhost" ] || bash "$root/scripts/build.sh" "$root/build"
(cd "$root/build-arm64" && ctest -j2 --output-on-failure)
bash "$root/tests/compare_architectures.sh" "$root/build" "$root/build-arm64"
