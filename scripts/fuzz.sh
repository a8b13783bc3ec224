#!/usr/bin/env bash
# Builds the libFuzzer targets with clang into build-fuzz/ and runs each for a few seconds
# (ZERB_FUZZ_SECONDS, default 10), starting from its committed corpus. New inputs go to a scratch
# folder; a crash leaves its input in build-fuzz/ and fails the script. An input runs for up to
# 30 s before it counts as a hang: with coverage and the sanitizers, a thumbnail of the largest
# picture the decoders allow (64 Mpixels) takes about 10 s.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh" clang libclang-rt-14-dev

build="$root/build-fuzz"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DZERB_FUZZ=ON -DZERB_TESTS=OFF "${launcher[@]}" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target fuzzers

seconds=${ZERB_FUZZ_SECONDS:-10}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Every target the build made (the list is fuzz/CMakeLists.txt's ZERB_FUZZ_TARGETS).
for exe in "$build"/fuzz_*; do
  [ -x "$exe" ] && [ -f "$exe" ] || continue
  target=${exe##*/fuzz_}
  mkdir -p "$scratch/$target"
  dict=()
  [ -f "$root/fuzz/$target.dict" ] && dict=(-dict="$root/fuzz/$target.dict")
  echo "fuzzing $target for ${seconds}s"
  "$build/fuzz_$target" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -max_len=65536 \
    -print_final_stats=1 -artifact_prefix="$build/crash-$target-" "${dict[@]}" \
    "$scratch/$target" "$root/fuzz/corpus/$target" 2>"$scratch/$target.log" ||
    { tail -50 "$scratch/$target.log"; exit 1; }
  grep -E '^stat::number_of_executed_units|^#[0-9]+ *DONE' "$scratch/$target.log" | tail -2 || true
done
