#!/usr/bin/env bash
# C99 and C++ programs by find_package, against both targets.
. "$(dirname "$0")/common.sh"
cat >"$work/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.16)
project(use C CXX)
set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_STANDARD 17)
find_package(qolsce9 8.2 REQUIRED)
foreach(kind "" _static)
  add_executable(c\${kind} $here/use.c)
  target_link_libraries(c\${kind} qolsce9::qolsce9\${kind})
  add_executable(cpp\${kind} $here/use.cpp)
  target_link_libraries(cpp\${kind} qolsce9::qolsce9\${kind})
endforeach()
END
$CMAKE -G Ninja -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" 2>&1 || { cat "$work/log"; fails configure; }
$CMAKE --build "$work/build" >"$work/log" 2>&1 || { cat "$work/log"; fails build; }
for program in c cpp c_static cpp_static; do
  "$work/build/$program" >"$work/$program.out" || fails "$program"
done
readelf -d "$work/build/c_static" | grep -q libqolsce9 && fails "c_static needs the shared library"
exit 0
