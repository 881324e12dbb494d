#!/usr/bin/env bash
# Builds the Debian packages, checks them with lintian, installs them in a clean Debian 12 root and runs the package tests there.
# usage (as root): packaging/debs.sh [OUT]    the packages end in OUT (build/debs when not given)
# DEB_BUILD_OPTIONS=nocheck leaves the tree's own tests out.
set -euo pipefail
cd "$(dirname "$0")/.."
. packaging/apt.sh
need "${build_packages[@]}" "${test_packages[@]}" debhelper dpkg-dev doxygen lintian mmdebstrap
out=$(realpath -m "${1:-build/debs}")
version=$(sed -n '1s/.*(\(.*\)-.*/\1/p' debian/changelog)
work=$out/qolsce9-$version
rm -rf "$out"
mkdir -p "$work"

git archive HEAD | tar -x -C "$work"
(cd "$work" && dpkg-buildpackage --build=binary --no-sign -j"$(nproc)") >"$out/build.log" 2>&1 || { tail -n 30 "$out/build.log"; exit 1; }
ls "$out"/*.deb
lintian --fail-on error --suppress-tags bad-distribution-in-changes-file "$out"/*.changes

root=$out/root
mmdebstrap --quiet --variant=apt bookworm "$root"
mkdir "$root/debs" "$root/source"
cp "$out"/*.deb "$root/debs"
cp -r "$work/debian" "$work/docs" "$work/README.md" "$root/source"
chroot "$root" sh -c 'apt-get update -qq && apt-get install -y -qq --no-install-recommends /debs/*.deb \
    $(sed -n "s/^Depends: //p" /source/debian/tests/control | tr -d ,)' >"$out/install.log" 2>&1 || { tail -n 30 "$out/install.log"; exit 1; }
for test in $(sed -n 's/^Tests: //p' debian/tests/control); do
  chroot "$root" sh -c "cd /source && sh debian/tests/$test"
  echo "package test $test: passed"
done
chroot "$root" sh -c 'qolsc --version && qolsc codecs | head -3'
