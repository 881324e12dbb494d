#!/usr/bin/env bash
# C99 and C++ programs by pkg-config, against the shared library and fully static.
. "$(dirname "$0")/common.sh"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
[ "$(pkg-config --modversion qolsce9)" = "$(sed -n 's/^project(qolsce9 VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")" ] ||
  fails "version of the pkg-config file"
shared=$(pkg-config --cflags --libs qolsce9)
static=$(pkg-config --static --cflags --libs qolsce9)
export LD_LIBRARY_PATH=$prefix/$libdir
$CC -std=c99 "$here/use.c" $shared -o "$work/shared_c"
$CXX -std=c++17 "$here/use.cpp" $shared -o "$work/shared_cpp"
$CC -std=c99 -static "$here/use.c" $static -o "$work/static_c"
$CXX -std=c++17 -static "$here/use.cpp" $static -o "$work/static_cpp"
for program in shared_c shared_cpp; do
  readelf -d "$work/$program" | grep -q 'libqolsce9.so.8.2' || fails "$program isn't linked to the shared library"
done
for program in shared_c shared_cpp static_c static_cpp; do
  "$work/$program" >"$work/$program.out" || fails "$program"
  grep -q '^8\.2\.1' "$work/$program.out" || fails "$program: version"
done
