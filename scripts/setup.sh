#!/usr/bin/env bash
# Installs what building and testing need, from Debian/Ubuntu packages, when it is missing.
# Further package names given as arguments are installed the same way.
set -euo pipefail
# The image codec headers give the types of the libraries the plug-in opens at run time; the
# plug-in does not link them.
packages=(cmake g++ make libgtest-dev libbenchmark-dev binutils python3 tzdata
  libturbojpeg0-dev libpng-dev libgif-dev libtiff-dev libwebp-dev "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
