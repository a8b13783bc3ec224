#!/usr/bin/env bash
# The product's folders are layers that include one way only, each from those listed beside it
# (the README's layout section has the same table). Fails on an include that points the wrong way.
#   check_layers.sh [SOURCE_ROOT]
set -u
root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
declare -A allowed=(
  [fmx]="fmx"
  [platform]="platform"
  [core]="fmx platform core"
  [text]="fmx platform core text"
  [filecore]="fmx platform core text filecore"
  [files]="fmx platform core text filecore files"
  [image]="fmx platform core text filecore image"
  [plugin]="fmx platform core text filecore files image plugin"
  [host]="fmx host"
)
fail=0
for folder in "${!allowed[@]}"; do
  [ -d "$root/$folder" ] || continue
  while IFS= read -r line; do
    file=${line%%:*}
    target=$(echo "$line" | sed -n 's/.*#include "\([a-zA-Z_]*\)\/.*/\1/p')
    # Headers of the host interface are found on the include path as FMWrapper/...
    [ "$target" = FMWrapper ] && target=fmx
    if [ -n "$target" ] && [[ " ${allowed[$folder]} " != *" $target "* ]]; then
      echo "${file#"$root"/}: $folder/ may not include $target/: ${line#*:}"
      fail=1
    fi
  done < <(grep -rn --include='*.h' --include='*.cpp' --include='*.def' '#include "' "$root/$folder")
done
[ $fail -eq 0 ] && echo "layer checks passed"
exit $fail
