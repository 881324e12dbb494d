#!/usr/bin/env bash
# The C example of README.md compiles without a warning and does what it says.
. "$(dirname "$0")/common.sh"
sed -n '/^```c$/,/^```$/p' "$source/README.md" | grep -v '^```' >"$work/example.c"
[ -s "$work/example.c" ] || fails "no example in README.md"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig LD_LIBRARY_PATH=$prefix/$libdir
$CC -std=c99 -Wall -Wextra -Wpedantic -Werror "$work/example.c" $(pkg-config --cflags --libs qolsce9) -lm -o "$work/example"
"$work/example" | tee "$work/out"
grep -q '^coded' "$work/out" || fails "the example prints nothing"
