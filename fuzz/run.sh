#!/usr/bin/env bash
# Builds the fuzz targets with Clang and runs each for SECONDS (30 when not given) from its corpus.
# usage: fuzz/run.sh [SECONDS] [FAMILY ...]
set -eu
cd "$(dirname "$0")/.."
seconds=${1:-30}
shift || true
families=("$@")
[ ${#families[@]} -gt 0 ] || mapfile -t families < <(sed -n 's/^qolsc_fuzz(\([a-z0-9]*\) .*/\1/p' fuzz/CMakeLists.txt; echo streams)
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j"$(nproc)" --target "${families[@]/%/_fuzz}" >/dev/null
for family in "${families[@]}"; do
    corpus=build/fuzz/corpus/$family
    mkdir -p "$corpus"
    log=build/fuzz/$family.log
    if build/fuzz/fuzz/"${family}"_fuzz -max_total_time="$seconds" -max_len=2000 -timeout=20 -rss_limit_mb=4096 \
        -artifact_prefix="build/fuzz/$family-" "$corpus" fuzz/corpus >"$log" 2>&1; then
        echo "$family: no finding, $(grep -oE 'cov: [0-9]+' "$log" | tail -1), $(grep -oE 'stat::number_of_executed_units: *[0-9]+|Done [0-9]+ runs' "$log" | tail -1)"
    else
        echo "$family: FINDING, see $log"
        failed=1
    fi
done
exit "${failed:-0}"
