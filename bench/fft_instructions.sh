#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Instructions of one transform under callgrind, by the difference of two runs of different length: a row for each size, a column for each form.
#
#   fft_instructions.sh FFT_BENCH
set -eu
bench=$1
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
count() {
  valgrind --tool=callgrind --callgrind-out-file="$folder/out" "$bench" "$@" 2>&1 >/dev/null | sed -n 's/.*Collected : \([0-9]*\).*/\1/p'
}
for size in 256 512 1024; do
  printf '%s' "$size"
  for form in fftw_estimated fftw_measured chosen vec4 ref; do
    short=$(count "$form" "$size" 1000)
    long=$(count "$form" "$size" 11000)
    printf ' %s %d' "$form" $(((long - short) / 10000))
  done
  printf '\n'
done
