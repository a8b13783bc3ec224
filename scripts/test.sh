#!/usr/bin/env bash
# Sets up, builds and runs every test.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/build.sh" "$root/build"
cd "$root/build" && ctest --output-on-failure
