#!/usr/bin/env bash
# Builds the benchmark with optimisation into build-bench/ and runs it; options go to zerb_bench
# (--base64-mb N, --lines-mb N, --utf8-mb N, --paths N, --runs N); 0 skips a part.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh"
cmake -S "$root" -B "$root/build-bench" -DCMAKE_BUILD_TYPE=Release -DZERB_TESTS=OFF >/dev/null
cmake --build "$root/build-bench" -j2 --target zerb_bench
"$root/build-bench/zerb_bench" "$@"
