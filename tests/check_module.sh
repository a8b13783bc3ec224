#!/usr/bin/env bash
# Checks a built plug-in before it ships, for either architecture (readelf reads both): it exports
# only its entry point; it needs only libFMWrapper.so, libc, libm and the dynamic loader (the C++
# runtime is inside); no glibc symbol newer than 2.35 (Ubuntu 22.04); its run path is the server's
# library folder and its soname is the version the server shows.
#   check_module.sh MODULE VERSION
set -u
module=$1
version=$2
fail=0
dynamic=$(readelf -d "$module") || { echo "$module is no shared object"; exit 1; }

exports=$(readelf -W --dyn-syms "$module" | awk '$1 ~ /^[0-9]+:$/ && $7 != "UND" && $5 != "LOCAL" && $8 != "" {print $8}' |
  sed 's/@.*//' | grep -v -E '^(_init|_fini|_edata|_end|__bss_start)$' | sort -u)
if [ "$exports" != "FMExternCallProc" ]; then
  echo "exports more than FMExternCallProc:"; echo "$exports" | head -20; fail=1
fi

needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
unexpected=$(echo "$needed" | grep -v -x -E 'libFMWrapper\.so|libc\.so\.6|libm\.so\.6|ld-linux-(x86-64|aarch64)\.so\.[0-9]+')
if [ -n "$unexpected" ]; then
  echo "needs more than libFMWrapper.so, libc, libm and the loader:"; echo "$unexpected"; fail=1
fi
if ! echo "$needed" | grep -q -x 'libFMWrapper\.so'; then
  echo "does not link libFMWrapper.so"; fail=1
fi

newest=$(readelf -W -V "$module" | grep -o 'GLIBC_[0-9][0-9.]*' | sed 's/GLIBC_//' | sort -u -V | tail -1)
if [ -n "$newest" ] && [ "$(printf '%s\n2.35\n' "$newest" | sort -V | tail -1)" != "2.35" ]; then
  echo "needs GLIBC_$newest"; fail=1
fi
if readelf -W -V "$module" | grep -q -E 'GLIBCXX_|CXXABI_|GCC_[0-9]'; then
  echo "needs the C++ runtime of the machine it loads on"; fail=1
fi

runpath=$(echo "$dynamic" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
if [ "$runpath" != "/opt/FileMaker/lib" ] || echo "$dynamic" | grep -q '(RPATH)'; then
  echo "run path is '${runpath}', not /opt/FileMaker/lib (as DT_RUNPATH)"; fail=1
fi
soname=$(echo "$dynamic" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
if [ "$soname" != "$version" ]; then
  echo "soname is '${soname}', not the version $version"; fail=1
fi

[ $fail -eq 0 ] && echo "module checks passed: $(readelf -h "$module" | sed -n 's/ *Machine: *//p'), soname $soname," \
  "run path $runpath, newest glibc symbol ${newest:-none}"
exit $fail
