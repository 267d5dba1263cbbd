#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Instructions of ARM64 per 10 ms frame from end to end, counted by qemu: a row for each model (the bundled ones where none is named), a column
# for each level. What instructions.sh counts by valgrind on x86-64: the difference of two runs of different length, so that start-up drops out.
#
#   arm64_instructions.sh [MODEL...]
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
ensure_packages $build_packages $arm64_packages
scripts/arm64_sysroot.sh build-arm64-sysroot
build=build-arm64-bench
cmake --preset arm64 -B "$build" -DWVAD_BUILD_TOOLS=ON -DWVAD_BUILD_BENCH=ON -DWVAD_BUILD_TESTS=OFF >&2
cmake --build "$build" -j "$(build_jobs)" --target wvad_file_bench >&2
cc -shared -fPIC -O2 -o "$build/count_instructions.so" bench/count_instructions.c
[ $# -gt 0 ] || set -- models/dnn_fb75.bin models/lstm_fb40.bin models/lstm_fb75.bin

# count LEVEL MODEL MINUTES
count() {
  WVAD_FORCE_KERNELS=$1 qemu-aarch64 -cpu max -plugin "$build/count_instructions.so" -L /usr/aarch64-linux-gnu \
    -E LD_LIBRARY_PATH="$PWD/build-arm64-sysroot/usr/lib/aarch64-linux-gnu" "$build/bin/wvad_file_bench" "$2" --minutes "$3" 2>&1 >/dev/null |
    sed -n 's/^instructions //p'
}
for model in "$@"; do
  printf '%s' "$(basename "$model" .bin)"
  for level in neon dotprod i8mm; do
    short=$(count "$level" "$model" 0.1)
    long=$(count "$level" "$model" 0.3)
    # 0.2 minutes are 1200 frames.
    printf ' %s %d' "$level" $(((long - short) / 1200))
  done
  printf '\n'
done
