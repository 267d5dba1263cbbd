#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# All figures of docs/performance.md by one command: stages, instructions, kernels, memory, growth and threads, for the bundled models.
#
#   report.sh BUILD_FOLDER [--quick | --long] [--write PAGE] [MODEL...]
#
# Prints the tables as Markdown; with --write it also puts them into PAGE between its two "figures" marks. About seven minutes on a free machine, ten with --long;
# --quick measures everything shorter, for a look; --long adds ten hours of audio for each model. What each program printed stays in
# BUILD_FOLDER/bench-report. Times on a busy machine come out a little high; instructions and memory do not.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
shift
kind=usual
page=
while [ $# -gt 0 ]; do
  case $1 in
    --quick) kind=quick ;;
    --long) kind=long ;;
    --write)
      page=$2
      shift
      ;;
    *) break ;;
  esac
  shift
done
# The audio is of 16000 Hz, and so are these.
[ $# -gt 0 ] || set -- "$root"/models/dnn_fb75.bin "$root"/models/lstm_fb40.bin "$root"/models/lstm_fb75.bin

raw="$build/bench-report"
rm -rf "$raw"
mkdir -p "$raw"
cut -d" " -f1 /proc/loadavg >"$raw/load.txt"
file="$build/bin/wvad_file_bench"
say() { echo "report: $*" >&2; }

case $kind in
  quick) stage_s=0.2 rounds=5 instances='1 10' minutes='1 10' ;;
  usual) stage_s=1 rounds=25 instances='1 10 100 1000' minutes='1 10 60' ;;
  long) stage_s=1 rounds=25 instances='1 10 100 1000' minutes='1 10 60 600' ;;
esac

say "stages"
"$build/bin/wvad_stage_bench" "$@" --benchmark_min_time="$stage_s" --benchmark_format=json --benchmark_out_format=json \
  --benchmark_out="$raw/stages.json" >/dev/null
for model in "$@"; do
  name=$(basename "$model" .bin)
  say "$name: length of the audio"
  for m in $minutes; do "$file" "$model" --minutes "$m"; done >"$raw/length.$name.txt"
  say "$name: instances"
  for n in $instances; do "$file" "$model" --minutes 0.1 --instances "$n"; done >"$raw/instances.$name.txt"
  if command -v valgrind >/dev/null; then
    say "$name: instructions"
    "$root/bench/instructions.sh" "$file" "$model" >"$raw/instructions.$name.txt"
    say "$name: instructions with the kernels of SSE4.1"
    WVAD_FORCE_KERNELS=sse41 "$root/bench/instructions.sh" "$file" "$model" >"$raw/instructions-sse41.$name.txt"
  fi
done
say "threads"
"$build/bin/wvad_thread_bench" "$@" --rounds "$rounds" >"$raw/threads.txt"

if [ -n "$page" ]; then
  python3 "$root/bench/tables.py" "$raw" --write "$page"
else
  python3 "$root/bench/tables.py" "$raw"
fi
