#!/usr/bin/env bash
# Builds the benchmarks with optimisation into build-bench/ and runs them, each with its group of
# the options, groups in this order and separated by "--" (0 skips a part):
#   zerb_bench                codecs and paths: --base64-mb N, --lines-mb N, --utf8-mb N, --paths N, --runs N
#   zerb_bench_files          file functions: --files N, --copy-mb N, --tree N, --text-mb N, --list N,
#                             --search N, --images N, --thumbnails N, --runs N
#   zerb_bench_json_files     FileInfoJSON against statx+lgetxattr, ListFolderJSON against find:
#                             --files N, --tree PATH (empty skips), --runs N
#   zerb_bench_metadata_json  MetaDataJSON against exiftool -j -n and exiv2 -pa: --images N, --runs N
#   zerb_bench_commands       Hash against sha256sum and md5sum (of a 1 GiB file), RunCommand against
#                             ExecuteShell: --hash-mb N, --calls N, --runs N
# e.g. scripts/bench.sh --runs 1 -- --search 0 -- --tree /usr/share -- -- --hash-mb 256
# Their files go to a folder under /var/tmp that is removed however the run ends. fd-find, exiv2,
# exiftool, the goexif camera samples, vipsthumbnail and ImageMagick are installed to compare with.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh" fd-find exiv2 libimage-exiftool-perl golang-github-rwcarlsen-goexif-dev \
  golang-github-disintegration-imaging-dev libvips-tools imagemagick libturbojpeg0 findutils
cmake -S "$root" -B "$root/build-bench" -DCMAKE_BUILD_TYPE=Release -DZERB_TESTS=OFF >/dev/null
programs=(zerb_bench zerb_bench_files zerb_bench_json_files zerb_bench_metadata_json zerb_bench_commands)
cmake --build "$root/build-bench" -j2 --target "${programs[@]}" fmxhost
scratch=$(mktemp -d /var/tmp/zerb-bench-run-XXXXXX)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 130' INT TERM HUP
export ZERB_BENCH_SCRATCH=$scratch
for program in "${programs[@]}"; do
  options=()
  while (($#)) && [ "$1" != "--" ]; do options+=("$1"); shift; done
  (($#)) && shift
  "$root/build-bench/$program" "${options[@]}"
done
