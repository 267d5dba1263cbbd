#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# Three sizes of each kind of network with one budget, and what each costs and finds: the table and the figure of sizes in docs/accuracy.md.
# A second run goes on where the first one was stopped.
#
#     training/compare_sizes.sh WORK BUILD [DOCS]
#
# WORK   the folder that make_models.sh has put sessions, judged recordings and features into (data); networks go into WORK/sizes
# BUILD  a build of this tree with its benchmarks
# DOCS   the folder of accuracy.md and accuracy.json; without it docs/ of this tree
#
# PYTHON may be set in the environment, and TINY=1 to try the way itself. Some four hours of one core.
set -euo pipefail

work=$1 build=$2
scripts=$(cd "$(dirname "$0")" && pwd)
docs=${3:-$scripts/../docs}
python=${PYTHON:-python3} sizes=$work/sizes
export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1

steps=1500 report=300 epochs=4
recurrent=("lstm_fb75 128 64" "lstm_fb75 256 128" "lstm_fb75 384 160" "lstm_fb40 112 64" "lstm_fb40 224 96" "lstm_fb40 320 128")
feed_forward=("128 128" "256 256" "512 384") streams=()
if [ -n "${TINY:-}" ]; then
  steps=4 report=2 epochs=1
  recurrent=("lstm_fb75 32 32" "lstm_fb40 32 32") feed_forward=("16 16") streams=(--streams 4 --piece 20)
fi

runs=()
# The bench takes the kind of a model from the name of its file.
packed() {  # run, kind, exporter
  [ -e "$sizes/$1/$2.bin" ] || {
    "$python" "$scripts/$3" --network "$sizes/$1/network.npz" --data "$work/data" --out "$sizes/$1/model"
    "$build/bin/wvad" model pack "$sizes/$1/model" -o "$sizes/$1/$2.bin"
  }
  runs+=("$sizes/$1=$sizes/$1/$2.bin")
}

for size in "${recurrent[@]}"; do
  read -r kind cells hidden <<<"$size"
  run=${kind}_$cells
  [ -e "$sizes/$run/done" ] || {
    "$python" "$scripts/train_lstm.py" --kind "$kind" --data "$work/data" --out "$sizes/$run" --cells "$cells" --hidden "$hidden" --steps "$steps" \
      --report "$report" --seed 1 "${streams[@]}"
    touch "$sizes/$run/done"
  }
  packed "$run" "$kind" export_lstm.py
done
for size in "${feed_forward[@]}"; do
  read -r -a units <<<"$size"
  run=dnn_fb75_${units[0]}
  [ -e "$sizes/$run/done" ] || {
    "$python" "$scripts/train_dnn.py" --data "$work/data" --judged "$work/data" --out "$sizes/$run" --hidden "${units[@]}" --epochs "$epochs" --share 0.25 --seed 1
    touch "$sizes/$run/done"
  }
  packed "$run" dnn_fb75 export_dnn.py
done
"$python" "$scripts/size_curve.py" --docs "$docs" --file-bench "$build/bin/wvad_file_bench" --models "$scripts/../models" --kept "$sizes" "${runs[@]}"
