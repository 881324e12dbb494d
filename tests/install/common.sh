# Sourced by the install tests: PREFIX SOURCE WORK LIBDIR; a clean work directory; `check` builds and runs.
set -euo pipefail
prefix=$1 source=$2 work=$3 libdir=$4
here=$source/tests/install
rm -rf "$work"
mkdir -p "$work"

fails() { echo "FAILED: $*" >&2; exit 1; }
