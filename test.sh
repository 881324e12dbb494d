#!/usr/bin/env bash
# Builds and runs all tests, then again under the address and undefined-behaviour sanitizers.
# Runs on a bare Debian 12 as root or with sudo; installs what it needs. The exit code is 0 when all tests passed.
set -euo pipefail
cd "$(dirname "$0")"
. packaging/apt.sh
need "${build_packages[@]}" "${test_packages[@]}"
jobs=$(nproc)

for preset in release asan; do
  echo "== $preset: building"
  cmake --preset "$preset" -DQOLSC_BUILD_BENCH=OFF >/dev/null
  cmake --build --preset "$preset" -j "$jobs" | tail -1
  echo "== $preset: testing"
  ctest --test-dir "build/$preset" -j "$jobs" --output-on-failure
done
