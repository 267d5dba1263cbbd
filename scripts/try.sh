#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# From a fresh Debian 12 to the sentences of a real recording: installs what the build needs, builds, segments.
# Further arguments go to `wvad segment` in place of the example recordings, in the folder where this is called. Running it again takes seconds.
set -eu
tree=$(cd "$(dirname "$0")/.." && pwd)
. "$tree/scripts/packages.sh"

ensure_packages $build_packages
if [ ! -f "$tree/build/build.ninja" ]; then
  cmake -S "$tree" -B "$tree/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DWVAD_BUILD_TESTS=OFF >&2
fi
cmake --build "$tree/build" -j "$(build_jobs)" >&2
program=$tree/build/bin/wvad
if [ $# -eq 0 ]; then
  cd "$tree"
  program=build/bin/wvad
  set -- examples/audio/jfk.flac examples/audio/moby.flac
fi
echo "$program segment $*" >&2
exec "$program" segment "$@"
