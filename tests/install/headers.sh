#!/usr/bin/env bash
# Every public header compiles alone, and the umbrella twice, in each language that it promises.
. "$(dirname "$0")/common.sh"
strict="-Wall -Wextra -Wpedantic -Wshadow -Werror -fsyntax-only -I$prefix/include"
headers=$(cd "$prefix/include" && find . -name '*.h' | sort)
[ "$(wc -w <<<"$headers")" -gt 5 ] || fails "headers missing"
for header in $headers; do
  printf '#include "%s"\n#include "%s"\n#include "qolsc.h"\n' "$header" "$header" >"$work/one.c"
  cp "$work/one.c" "$work/one.cpp"
  for standard in c99 c11; do
    $CC -std=$standard $strict "$work/one.c" || fails "$header as $standard"
  done
  $CXX -std=c++17 $strict "$work/one.cpp" || fails "$header as c++17"
done
