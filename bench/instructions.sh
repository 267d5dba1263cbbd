#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Instructions per 10 ms frame of the whole road, under callgrind: the difference of two runs of different length, so that start-up drops out.
# Callgrind does not know every instruction of the newest processors; WVAD_FORCE_KERNELS=sse41 or ref narrows the kernels.
#
#   instructions.sh FILE_BENCH MODEL
set -eu
bench=$1
model=$2
count() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null "$bench" "$model" --minutes "$1" 2>&1 >/dev/null | sed -n 's/.*Collected : \([0-9]*\).*/\1/p'
}
short=$(count 0.1)
long=$(count 0.3)
# 0.2 minutes are 1200 frames.
echo "instructions_per_frame $(( (long - short) / 1200 ))"
