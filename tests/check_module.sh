#!/usr/bin/env bash
# The built plug-in must load into hosts on Ubuntu 22.04 and later: it exports only its entry
# point, carries its own C++ runtime, and needs no glibc symbol newer than 2.35.
set -u
module=$1
fail=0
exports=$(nm -D --defined-only "$module" | awk '$2 ~ /^[TtWwDdBbVv]$/ {print $3}' | grep -v -E '^(_init|_fini|_edata|_end|__bss_start)$')
if [ "$exports" != "FMExternCallProc" ]; then
  echo "exports more than FMExternCallProc:"; echo "$exports" | head -20; fail=1
fi
if ldd "$module" | grep -E 'libstdc\+\+|libgcc_s'; then
  echo "depends on the C++ runtime"; fail=1
fi
newest=$(objdump -T "$module" | grep -o 'GLIBC_[0-9.]*' | sed 's/GLIBC_//' | sort -V | tail -1)
if [ -n "$newest" ] && [ "$(printf '%s\n2.35\n' "$newest" | sort -V | tail -1)" != "2.35" ]; then
  echo "needs GLIBC_$newest"; fail=1
fi
if ! readelf -d "$module" | grep -q 'NEEDED.*\[libFMWrapper.so\]'; then
  echo "does not link libFMWrapper.so"; fail=1
fi
[ $fail -eq 0 ] && echo "module checks passed (newest glibc symbol: ${newest:-none})"
exit $fail
