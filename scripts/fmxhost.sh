#!/usr/bin/env bash
# Sets up, builds, and evaluates calculations with the plug-in in the command-line host:
#   scripts/fmxhost.sh 'ZbFile_Version("-getversionnumber")'
# Without a calculation it reads them line by line from standard input.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/build.sh" "$root/build" >&2
exec "$root/build/fmxhost" "$@"
