#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# What a process pays before its first audio, for each model: the least of many runs in milliseconds of processor time, the peak of its
# memory, and, where valgrind is installed, the instructions of the whole process and of its parts.
#
#   ready.sh READY_BENCH MODEL...
set -eu
bench=$1
shift
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
for model in "$@"; do
  for _ in $(seq 50); do "$bench" "$model"; done >"$folder/runs"
  awk -v name="$(basename "$model" .bin)" '
    function least(i) { if (NR == 1 || $i < low[i]) low[i] = $i }
    { for (i = 2; i <= 10; i += 2) least(i) }
    END { printf "%s up_ms %s ready_ms %s second_ms %s before_KiB %s peak_KiB %s", name, low[2], low[4], low[6], low[8], low[10] }' "$folder/runs"
  if command -v valgrind >/dev/null; then
    valgrind --tool=callgrind --callgrind-out-file="$folder/out" "$bench" "$model" >/dev/null 2>&1
    callgrind_annotate --inclusive=yes --auto=no --threshold=100 "$folder/out" >"$folder/text"
    awk '
      function part(name, pattern) { if (index($0, pattern) && !(name in seen)) { gsub(",", "", $1); seen[name] = $1; printf " %s %s", name, $1 } }
      { part("process", "PROGRAM TOTALS"); part("initialize", ":wVadInitialize"); part("create", ":wVadCreateInst"); part("start", ":wVadStart") }' "$folder/text"
  fi
  echo
done
