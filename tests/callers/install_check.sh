#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs the C11
# caller twice: once through pkg-config, once through find_package.
#   install_check.sh <build-dir> <source-dir> [sanitizers]
set -euo pipefail
build=$1 src=$2
# A sanitized library needs sanitized callers.
san=()
[ -n "${3:-}" ] && san=("-fsanitize=$3")
prefix=$build/install-check
rm -rf "$prefix" "$build/consumer-check"
cmake --install "$build" --prefix "$prefix" >/dev/null
for f in lib/libruf_interval.so lib/libruf_service.so include/ruf_interval.h \
         lib/pkgconfig/ruf_interval.pc lib/cmake/ruf_interval/ruf_intervalConfig.cmake; do
  [ -e "$prefix/$f" ] || { echo "missing after install: $f"; exit 1; }
done
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
cc -std=c11 -Wall -Wextra -Werror -pedantic "${san[@]}" "$src/tests/callers/c11_caller.c" \
   $(pkg-config --cflags --libs ruf_interval) -lm -Wl,-rpath,"$prefix/lib" -o "$prefix/c11_caller"
"$prefix/c11_caller"
cmake -S "$src/tests/callers/consumer" -B "$build/consumer-check" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_BUILD_RPATH="$prefix/lib" -DCMAKE_C_FLAGS="${san[*]}" >/dev/null
cmake --build "$build/consumer-check" >/dev/null
"$build/consumer-check/consumer"
# The installed tool finds the libraries beside it, wherever the prefix is.
"$prefix/bin/ruf-solve" --version >/dev/null
