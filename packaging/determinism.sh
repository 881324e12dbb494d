#!/usr/bin/env bash
# Builds the library by both compilers at several optimisations and compares the digests of all integer results.
set -eu
cd "$(dirname "$0")/.."
build() { # name, compiler suffix, flags
    local dir=build/determinism/$1
    cmake -G Ninja -B "$dir" -DCMAKE_C_COMPILER="$2" -DCMAKE_CXX_COMPILER="$3" -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="$4" \
        -DQOLSC_BUILD_TOOLS=OFF -DQOLSC_WERROR=OFF >/dev/null
    cmake --build "$dir" -j"$(nproc)" --target qolsc_digest >/dev/null
    "$dir"/tests/qolsc_digest > "$dir.txt"
}
mkdir -p build/determinism
build gcc-O3 gcc g++ "-O3 -DNDEBUG"
build gcc-O1 gcc g++ "-O1"
build gcc-debug gcc g++ "-O0 -g"
build clang-O3 clang-14 clang++-14 "-O3 -DNDEBUG"
cat build/determinism/gcc-O3.txt
for other in gcc-O1 gcc-debug clang-O3; do
    diff build/determinism/gcc-O3.txt "build/determinism/$other.txt" && echo "gcc-O3 and $other: equal"
done
