#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Builds the package for JavaScript and tests it: installs emscripten and what else is missing (1 GB), unpacks libsoxr's sources into
# build-soxr-source, builds the module of WebAssembly with vectors and without, the package in js/dist, and the native library that it has to
# equal. Exit code 0: everything passed.
#
#   scripts/test_js.sh                 all of it
#   scripts/test_js.sh --write PAGE    and the counts into the table of PAGE (docs/platforms.md)
#   scripts/test_js.sh --build         the package alone
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
case "$#${1:-}" in
  0 | 1--build | 2--write) ;;
  *)
    echo "usage: $0 [--build | --write PAGE]" >&2
    exit 2
    ;;
esac
ensure_packages $build_packages $js_packages
jobs=$(build_jobs)

scripts/soxr_source.sh build-soxr-source
for preset in wasm wasm-plain; do
  emcmake cmake --preset "$preset" >&2
  cmake --build --preset "$preset" -j "$jobs" >&2
done
node js/build.mjs
[ "${1:-}" = --build ] && exit 0

ensure_packages ffmpeg chromium googletest node-acorn
# The tool chain's own script for Node.js looks for this package, which only Debian's Node.js finds by itself.
export NODE_PATH=/usr/share/nodejs
mkdir -p build-logs
result=0
for preset in wasm wasm-plain; do
  cmake --build --preset "$preset" -j "$jobs" --target wvad_kernels_test >&2
  node "build-$preset/lib/wvad_kernels_test.js" >"build-logs/$preset.txt" || {
    cat "build-logs/$preset.txt" >&2
    result=1
  }
done
cmake --preset builtin-fft >&2
cmake --build --preset builtin-fft -j "$jobs" --target wvad-stream >&2
cc -O1 -Wall -Wextra -Werror -Iinclude js/test/tell.c -o build-wasm/tell -Lbuild-builtin-fft/lib -lwvad-stream \
  -Wl,-rpath,"$PWD/build-builtin-fft/lib"
WVAD_TELL="$PWD/build-wasm/tell" node --test --test-reporter=spec --test-reporter-destination=stdout --test-reporter=tap \
  --test-reporter-destination=build-logs/js.tap js/test/ || result=1
# What says by its name that it is without vectors counts for the module that has none.
grep ', without vectors' build-logs/js.tap >build-logs/wasm-plain.tap
grep -v ', without vectors' build-logs/js.tap >build-logs/wasm.tap
scripts/platform_row.py "WebAssembly, Node.js" build-wasm build-logs/wasm.txt build-logs/wasm.tap --sessions ', with vectors$' "$@"
scripts/platform_row.py "WebAssembly without vectors, Node.js" build-wasm-plain build-logs/wasm-plain.txt build-logs/wasm-plain.tap \
  --sessions ', without vectors$' "$@"
exit $result
