#!/usr/bin/env bash
# Sets up, builds and runs every test.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
# A real share can be mounted only where the kernel has cifs: then samba serves one to the tests.
if grep -qw cifs /proc/filesystems 2>/dev/null; then bash "$root/scripts/setup.sh" samba cifs-utils; fi
# Image metadata is checked against exiftool and exiv2 on camera files and test images Debian
# ships with the goexif and imaging packages.
bash "$root/scripts/setup.sh" libimage-exiftool-perl exiv2 golang-github-rwcarlsen-goexif-dev \
  golang-github-disintegration-imaging-dev
# The file dialogs are driven for real: zenity on an Xvfb display, keys sent by xdotool.
bash "$root/scripts/setup.sh" zenity xvfb xdotool
# Thumbnails are compared with djpeg's reading and ImageMagick's own thumbnails; ffmpeg makes a
# movie for the poster-frame test, Ghostscript CMYK JPEGs without a colour transform.
bash "$root/scripts/setup.sh" libjpeg-turbo-progs imagemagick ffmpeg ghostscript
bash "$root/scripts/build.sh" "$root/build"
# Two at a time: the suite and its run without the newer system calls go side by side.
cd "$root/build" && ctest -j2 --output-on-failure
