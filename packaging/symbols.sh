#!/usr/bin/env bash
# Writes debian/*.symbols from the list of exports: the promise of the binary interface.
set -eu
cd "$(dirname "$0")/.."
{
    echo "libqolsce9.so.8.2 libqolsce9-8.2 #MINVER#"
    {
        echo qolJumpIndexForMergedDLL
        sed -n 's/^QOLSC_ENTRY(\(.*\)).*/\1/p' src/entry/entries.def | sed 'p;s/$/_arraddr/'
    } | LC_ALL=C sort | sed 's/^/ /;s/$/@Base 8.2.1/'
} > debian/libqolsce9-8.2.symbols
{
    echo "libqolcore.so.8.2 libqolcore8.2 #MINVER#"
    for name in ownGetNumThreads qolFree qolGetCpuFeatures qolGetEnabledCpuFeatures qolGetMaxCacheSizeB qolMalloc; do
        echo " $name@Base 8.2.1"
    done
} > debian/libqolcore8.2.symbols
