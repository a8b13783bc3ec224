#!/usr/bin/env bash
# The arm64 plug-in (under qemu-aarch64) gives the same answers and the same files as the x86_64
# one: text replaced in a file, a folder listed, a photo's metadata read, a thumbnail made, on
# files nobody in the project wrote (Debian's goexif and imaging test images).
#   compare_architectures.sh X86_64_BUILD ARM64_BUILD
set -euo pipefail
native=$1
arm=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
photos=/usr/share/gocode/src/github.com/rwcarlsen/goexif/exif
imaging=/usr/share/gocode/src/github.com/disintegration/imaging/testdata
for f in "$photos/sample1.jpg" "$imaging/flowers.png" "$imaging/branches.jpg"; do
  [ -e "$f" ] || { echo "compare_architectures: $f is missing (install golang-github-rwcarlsen-goexif-dev" \
    "and golang-github-disintegration-imaging-dev)" >&2; exit 1; }
done

answers() {  # architecture folder, command prefix
  local dir=$work/$1
  mkdir -p "$dir/files" "$dir/out"
  cp "$photos/sample1.jpg" "$imaging/flowers.png" "$dir/files/"
  printf 'Dear {{NAME}},\r\nthe {{name}} of {{NAME}}.\r\n%.0s' $(seq 1 2000) >"$dir/files/letter.txt"
  $2 --plugin "$3/ZerbFile.fmx" --save "$dir/out" \
    "ZbFile_Substitute(\"IgnoreCase\";\"$dir/files/letter.txt\";\"\";\"{{name}}\";\"Ann Smith\")" \
    "ZbFile_ListFolder(\"files\";\"$dir/files\")" \
    "ZbFile_MetaData(\"GetExif\";\"$dir/files/sample1.jpg\")" \
    "ZbFile_MetaData(\"GetIPTC GetXMP\";\"$dir/files/sample1.jpg\")" \
    "ZbFile_CreateThumbnail(\"\";\"$imaging/branches.jpg\")" \
    "ZbFile_CreateThumbnail(\"\";\"$dir/files/flowers.png\")" \
    "ZbFile_Version(\"-getversionnumber\")" | sed "s#$dir#DIR#g" >"$dir/answers"
  sha256sum "$dir/files/letter.txt" "$dir/out/"* | sed "s#$dir#DIR#g" >"$dir/files.sha256"
}
answers x86_64 "$native/fmxhost" "$native"
answers arm64 "qemu-aarch64 $arm/fmxhost" "$arm"
if diff -u "$work/x86_64/answers" "$work/arm64/answers" && diff -u "$work/x86_64/files.sha256" "$work/arm64/files.sha256"; then
  echo "arm64 and x86_64 agree: $(wc -l <"$work/x86_64/answers") answer lines, $(wc -l <"$work/x86_64/files.sha256") files"
else
  echo "compare_architectures: the arm64 plug-in answers differently" >&2
  exit 1
fi
