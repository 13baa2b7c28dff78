#!/usr/bin/env bash
# Builds the Debian packages of the build tree, unpacks them into a scratch
# root (dpkg -x, no installation), and builds and runs the C11 caller (through
# the packaged pkg-config file) and the Fortran caller (through the packaged
# module) against them; the packaged ruf-solve must run from there too.
#   deb_check.sh <build-dir> <source-dir>
set -euo pipefail
build=$1 src=$2
work=$build/deb-check
rm -rf "$work"
mkdir -p "$work/root"
(cd "$build" && cpack -G DEB -B "$work/debs" >/dev/null)
for deb in "$work"/debs/*.deb; do dpkg -x "$deb" "$work/root"; done
root=$work/root/usr
for f in lib/libruf_interval.so.0 lib/libruf_service.so.0 lib/libruf_interval.so include/ruf_interval.h \
         include/ruf_interval/version.h lib/pkgconfig/ruf_interval.pc bin/ruf-solve; do
  [ -e "$root/$f" ] || { echo "missing from the packages: $f"; exit 1; }
done
export PKG_CONFIG_PATH=$root/lib/pkgconfig
cc -std=c11 -Wall -Wextra -Werror -pedantic "$src/tests/callers/c11_caller.c" \
   $(pkg-config --cflags --libs ruf_interval) -lm -Wl,-rpath,"$root/lib" -o "$work/c11_caller"
"$work/c11_caller"
if [ -e "$root/include/ruf_interval.mod" ] && command -v gfortran >/dev/null; then
  gfortran -I"$root/include" "$src/tests/callers/fortran_caller.f90" -L"$root/lib" -lruf_interval \
           -Wl,-rpath,"$root/lib" -o "$work/fortran_caller"
  "$work/fortran_caller"
fi
"$root/bin/ruf-solve" --version
