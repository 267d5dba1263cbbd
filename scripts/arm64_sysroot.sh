#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Unpacks the ARM64 libraries that libraries, program, tests and benchmarks are linked with into a folder, from the package sources that this
# system has. Nothing is installed, and the system learns of no further architecture.
#
#   scripts/arm64_sysroot.sh FOLDER      FOLDER/usr/include, FOLDER/usr/lib/aarch64-linux-gnu; does nothing where it is complete
set -eu
folder=$1
packages="libboost1.74-dev libboost-thread1.74-dev libboost-system1.74-dev libboost-atomic1.74-dev libboost-chrono1.74-dev libboost-date-time1.74-dev
  libboost-thread1.74.0 libboost-atomic1.74.0 libboost-chrono1.74.0 libsoxr-dev libsoxr0 libgtest-dev libgmock-dev nlohmann-json3-dev
  libbenchmark-dev libbenchmark1debian libcli11-dev libsndfile1-dev libsndfile1 libflac-dev libflac12 libmpg123-dev libmpg123-0 libogg-dev libogg0
  libvorbis-dev libvorbis0a libvorbisenc2 libopus-dev libopus0 libmp3lame-dev libmp3lame0 nettle-dev libnettle8 libpugixml-dev libpugixml1v5 zlib1g-dev zlib1g"
[ "$(cat "$folder/complete" 2>/dev/null)" = "$packages" ] && exit 0
mkdir -p "$folder/apt/lists/partial" "$folder/apt/cache/archives/partial" "$folder/packages"
folder=$(cd "$folder" && pwd)
: >"$folder/apt/status"
arm64_apt() {
  apt-get -q -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Sandbox::User=root -o Dir::State="$folder/apt" \
    -o Dir::State::lists="$folder/apt/lists" -o Dir::State::status="$folder/apt/status" -o Dir::Cache="$folder/apt/cache" "$@" >&2
}
# A source without this architecture is no failure; a package that is missing then is.
arm64_apt update || true
(cd "$folder/packages" && arm64_apt download $packages)
for package in "$folder"/packages/*.deb; do dpkg -x "$package" "$folder"; done
rm -r "$folder/apt" "$folder/packages"
echo "$packages" >"$folder/complete"
