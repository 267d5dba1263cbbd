#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Instructions per 10 ms frame under callgrind, end to end and of the stages. End to end is the difference of two runs of different
# length, so that start-up drops out; a stage is all that its functions and what they call take.
# Callgrind does not know every instruction of the newest processors; WVAD_FORCE_KERNELS=sse41 or ref narrows the kernels.
#
#   instructions.sh FILE_BENCH MODEL
set -eu
bench=$1
model=$2
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
count() {
  valgrind --tool=callgrind --callgrind-out-file="$folder/out" "$bench" "$model" --minutes "$1" 2>&1 >/dev/null |
    sed -n 's/.*Collected : \([0-9]*\).*/\1/p'
}
short=$(count 0.1)
long=$(count 0.3)
# 0.2 minutes are 1200 frames, 0.3 minutes 1800.
echo "end_to_end $(((long - short) / 1200))"
callgrind_annotate --inclusive=yes --auto=no --threshold=100 "$folder/out" >"$folder/text"
stage() {
  name=$1
  pattern=$2
  awk -v name="$name" -v pattern="$pattern" '
    $0 ~ pattern && / \[/ {  # the line of a function, not of what was inlined into it
      gsub(",", "", $1)
      sum += $1
    }
    END { if (sum > 0) printf "%s %d\n", name, sum / 1800 }' "$folder/text"
}
stage write ':wVadAudioWrite'
stage front_end_with_features 'TSEG::FrontEndPush\('
stage front_end 'TSEG::ORVAFloatFrontGetFeature\('
stage pitch_in_front_end 'TSEG::CPitchTracker::Process\('
stage network 'TSEG::(DnnForwardAddBlock|LstmForwardAddBlock75|LstmForwardAddBlock40)\('
stage decision 'TSEG::(wVadFrameStep|wVadEmitVerdict)\('
stage read ':wVadAudioRead'
