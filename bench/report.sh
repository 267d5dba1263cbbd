#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# All measurements in one table each: stages, growth, threads, instructions. Takes a few minutes; --long adds ten hours of audio.
#
#   report.sh BUILD_FOLDER [--long] [MODEL...]
#
# Without models, the three of the tests.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$1
shift
long=no
if [ "${1:-}" = --long ]; then
  long=yes
  shift
fi
if [ $# -eq 0 ]; then
  set -- "$root/tests/data/models/dnn.bin" "$root/tests/data/models/lstm75.bin" "$root/tests/data/models/lstm40.bin"
fi
file="$build/bin/wvad_file_bench"

echo "== stages"
"$build/bin/wvad_stage_bench" "$@" 2>/dev/null
for model in "$@"; do
  echo
  echo "== growth with length, $(basename "$model")"
  "$file" "$model" --minutes 1 --heading
  "$file" "$model" --minutes 10
  "$file" "$model" --minutes 60
  if [ "$long" = yes ]; then "$file" "$model" --minutes 600; fi
  echo "== growth with instances (six seconds each)"
  for n in 1 10 100 1000; do "$file" "$model" --minutes 0.1 --instances "$n"; done
  echo "== one thread and two"
  "$file" "$model" --minutes 5 --instances 2 --threads 1
  "$file" "$model" --minutes 5 --instances 2 --threads 2
  if command -v valgrind >/dev/null; then
    echo "== instructions per frame"
    "$root/bench/instructions.sh" "$file" "$model"
  fi
done
