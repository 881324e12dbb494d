#!/usr/bin/env bash
# Every benchmark with every peer that Debian has, repetitions interleaved; times, cycles and ratios in out/performance.md.
# usage: bench.sh [--quick] [PROGRAM...]    PROGRAM: a file of bench/ without _bench.cpp, e.g. g729; all without
# Runs on a bare Debian 12 as root or with sudo; installs what it needs. Let the machine do nothing else.
set -euo pipefail
cd "$(dirname "$0")"
. packaging/apt.sh
need "${build_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}"

repetitions=9 least=0.1 whole=yes
if [ "${1:-}" = --quick ]; then
  repetitions=3 least=0.01 whole=no
  shift
fi
[ $# -eq 0 ] || whole=no
programs=()
for program in "$@"; do programs+=("${program}_bench"); done
if [ $# -eq 0 ]; then
  for source in bench/*_bench.cpp; do programs+=("$(basename "$source" .cpp)"); done
fi

echo "building"
mkdir -p build out/bench
log=build/bench.log
if ! { cmake -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOLSC_BUILD_BENCH=ON &&
       cmake --build build/bench --target "${programs[@]}"; } >"$log" 2>&1; then
  tail -30 "$log" >&2
  exit 1
fi

rm -f out/bench/*.json
for program in "${programs[@]}"; do
  echo "$program"
  pinned=(taskset -c "$(($(nproc) - 1))") # one processor for all but the program with two threads
  [ "$program" = channels_bench ] && pinned=()
  "${pinned[@]}" "build/bench/bench/$program" --benchmark_repetitions="$repetitions" --benchmark_min_time="$least" \
    --benchmark_enable_random_interleaving=true --benchmark_out="out/bench/$program.json" --benchmark_out_format=json \
    >/dev/null 2>>"$log" || { tail -5 "$log" >&2; exit 1; }
done
python3 bench/table.py out/bench >out/performance.md
if [ $whole = yes ]; then
  marker='<!-- From here on written by bench.sh. -->'
  page=$(sed "/^$marker/,\$d" docs/performance.md)
  { echo "$page"; echo; echo "$marker"; echo; sed 's/^#/##/' out/performance.md; } >out/page.md
  mv out/page.md docs/performance.md
fi
echo "look: out/performance.md"
