# Sourced by demo.sh, test.sh and bench.sh: what the build needs of Debian 12, and how to get it.

build_packages=(g++ cmake ninja-build pkg-config libsndfile1-dev libpng-dev libcli11-dev)
test_packages=(libgtest-dev nlohmann-json3-dev python3)
bench_packages=(python3 libbenchmark-dev libspandsp-dev libgsm1-dev libbcg729-dev libopencore-amrnb-dev libopencore-amrwb-dev
                libvo-amrwbenc-dev libspeexdsp-dev libfftw3-dev libavcodec-dev libavutil-dev)
speech_packages=(asterisk-core-sounds-en-wav pocketsphinx-testdata)

# Installs those of the packages that are missing; does nothing, and needs no network, when none is.
need() {
  local package missing=() as_root=()
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  echo "installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
