#!/usr/bin/env bash
# Compares the binary interface of the built libraries with the recorded one (packaging/abi/*.abi).
# usage: packaging/abi.sh [--update]    --update records the present one, for a release that may change it
set -euo pipefail
cd "$(dirname "$0")/.."
. packaging/apt.sh
need "${build_packages[@]}" abigail-tools
dir=build/abi
cmake -G Ninja -B "$dir" -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-O0 -g" -DQOLSC_BUILD_TOOLS=OFF -DQOLSC_BUILD_TESTS=OFF >/dev/null
cmake --build "$dir" -j"$(nproc)" --target qolsce9 qolcore >/dev/null
for library in libqolsce9 libqolcore; do
  now=$dir/$library.abi
  # Public headers alone make the interface: what a record holds is nobody's business.
  abidw --headers-dir include --drop-private-types --no-show-locs --no-comp-dir-path --no-corpus-path \
    --out-file "$now" "$dir/$library.so.8.2"
  if [ "${1:-}" = --update ]; then
    mkdir -p packaging/abi
    cp "$now" "packaging/abi/$library.abi"
  else
    abidiff --no-added-syms "packaging/abi/$library.abi" "$now"
    echo "$library: the recorded binary interface"
  fi
done
