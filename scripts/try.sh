#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# From a fresh Debian 12 to the sentences of a real recording: installs what the build needs, builds, segments.
# Further arguments go to `wvad segment` in place of the example recordings. Running it again takes seconds.
set -eu
# Files are named as seen from where the script is called.
from=$PWD
for argument in "$@"; do
  shift
  case $argument in
    /* | -*) ;;
    *) [ ! -e "$argument" ] || argument=$from/$argument ;;
  esac
  set -- "$@" "$argument"
done
cd "$(dirname "$0")/.."
. scripts/packages.sh

ensure_packages $build_packages
if [ ! -f build/build.ninja ]; then
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DWVAD_BUILD_TESTS=OFF >&2
fi
cmake --build build -j "$(build_jobs)" >&2
if [ $# -eq 0 ]; then
  set -- examples/audio/jfk.flac examples/audio/moby.flac
fi
echo "build/bin/wvad segment $*" >&2
exec build/bin/wvad segment "$@"
