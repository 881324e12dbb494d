#!/usr/bin/env bash
# The packages' symbols files say what the list of exports says; packaging/symbols.sh writes them anew.
# usage: symbols.sh SOURCE WORK
set -euo pipefail
source=$1 work=$2
mkdir -p "$work"
"$source/packaging/symbols.sh" "$work"
for file in "$work"/*.symbols; do
  diff "$source/debian/$(basename "$file")" "$file"
done
