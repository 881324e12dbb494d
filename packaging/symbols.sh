#!/usr/bin/env bash
# Writes *.symbols, the packages' promise of the binary interface, from the list of exports.
# usage: packaging/symbols.sh [DIRECTORY]    debian/ when none is given
set -eu
cd "$(dirname "$0")/.."
directory=${1:-debian}
{
    echo "libqolsce9.so.8.2 libqolsce9-8.2 #MINVER#"
    {
        echo qolJumpIndexForMergedDLL
        sed -n 's/^QOLSC_ENTRY(\(.*\)).*/\1/p' src/entry/entries.def | sed 'p;s/$/_arraddr/'
    } | LC_ALL=C sort | sed 's/^/ /;s/$/@Base 8.2.1/'
} > "$directory/libqolsce9-8.2.symbols"
{
    echo "libqolcore.so.8.2 libqolcore8.2 #MINVER#"
    for name in ownGetNumThreads qolFree qolGetCpuFeatures qolGetEnabledCpuFeatures qolGetMaxCacheSizeB qolMalloc; do
        echo " $name@Base 8.2.1"
    done
} > "$directory/libqolcore8.2.symbols"
