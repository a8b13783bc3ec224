#!/usr/bin/env bash
# Installs what building and testing need, from Debian/Ubuntu packages, when it is missing.
# Further package names given as arguments are installed the same way. With --arm64 first, also
# what the arm64 cross build and its tests need: Debian's cross toolchain, qemu-user, and the arm64
# packages of the libraries (multiarch).
set -euo pipefail
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
arm64=()
if [ "${1:-}" = "--arm64" ]; then
  shift
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    $sudo dpkg --add-architecture arm64
    $sudo apt-get update -qq
  fi
  arm64=(crossbuild-essential-arm64 qemu-user libgtest-dev:arm64 libturbojpeg0-dev:arm64 libpng-dev:arm64
    libgif-dev:arm64 libtiff-dev:arm64 libwebp-dev:arm64 libssl3:arm64)
fi
# The image codec headers give the types of the libraries the plug-in opens at run time; the
# plug-in does not link them. RapidJSON (header-only) writes the JSON answers. ZbFile_Hash opens
# OpenSSL's libcrypto.so.3 (libssl3) at run time; its tests compare with openssl and coreutils.
packages=(cmake g++ make libgtest-dev libbenchmark-dev binutils python3 tzdata libssl3 openssl coreutils
  rapidjson-dev libturbojpeg0-dev libpng-dev libgif-dev libtiff-dev libwebp-dev "${arm64[@]}" "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
