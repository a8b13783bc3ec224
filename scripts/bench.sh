#!/usr/bin/env bash
# Builds the benchmarks with optimisation into build-bench/ and runs them: zerb_bench (codecs and
# paths) takes the options before "--" (--base64-mb N, --lines-mb N, --utf8-mb N, --paths N,
# --runs N), zerb_bench_files (file functions) those after it (--files N, --copy-mb N, --tree N,
# --text-mb N, --list N, --search N, --images N, --thumbnails N, --runs N); 0 skips a part. fd-find,
# exiv2, exiftool, the goexif camera samples, vipsthumbnail and ImageMagick are installed to compare with.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh" fd-find exiv2 libimage-exiftool-perl golang-github-rwcarlsen-goexif-dev \
  golang-github-disintegration-imaging-dev libvips-tools imagemagick libturbojpeg0
cmake -S "$root" -B "$root/build-bench" -DCMAKE_BUILD_TYPE=Release -DZERB_TESTS=OFF >/dev/null
cmake --build "$root/build-bench" -j2 --target zerb_bench zerb_bench_files fmxhost
codecs=()
while (($#)) && [ "$1" != "--" ]; do codecs+=("$1"); shift; done
(($#)) && shift
"$root/build-bench/zerb_bench" "${codecs[@]}"
"$root/build-bench/zerb_bench_files" "$@"
