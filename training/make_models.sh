#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# From a corpus to the three model files, in steps that a second run finds done or goes on with.
#
#     training/make_models.sh CORPUS BIN WORK [INIT]
#
# CORPUS  folder with manifest.csv (docs/training.md)
# BIN     folder with wvad and wvad-blocks
# WORK    what is made: sessions, features, networks, models, about 18 GB
# INIT    folder with smaller models to begin with (lstm_fb75.bin, lstm_fb40.bin); without it networks begin at random and need more steps
#
# PYTHON and JOBS may be set in the environment. docs/training.md says how long each step takes.
set -euo pipefail

corpus=$1 bin=$2 work=$3 init=${4:-}
scripts=$(cd "$(dirname "$0")" && pwd)
python=${PYTHON:-python3} jobs=${JOBS:-2}
export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1

# Runs a command unless the file that stands for its end is there.
once() {
  local done=$1
  shift
  [ -e "$done" ] && return
  "$@"
  mkdir -p "$(dirname "$done")"
  touch "$done"
}

features() {  # of one folder of sessions, for the kinds of 75 and of 40 values
  "$bin/wvad-blocks" --centre --half --jobs "$jobs" --out "$1/feat" --list "$1/sessions.txt"
  "$bin/wvad-blocks" --model lstm_fb40 --half --jobs "$jobs" --out "$1/feat40" --list "$1/sessions.txt"
}

sessions() {  # folder, split, hours, seed
  once "$1/$2/.mixed" "$python" "$scripts/mix_sessions.py" --corpus "$corpus" --out "$1" --cache "$work/cache" --split "$2" --hours "$3" --seed "$4" --jobs "$jobs"
  once "$1/$2/.features" features "$1/$2"
}

recurrent() {  # kind, cells, hidden units, steps
  local begin=()
  [ -n "$init" ] && begin=(--init "$init/$1.bin")
  once "$work/run/$1/.trained" "$python" "$scripts/train_lstm.py" --kind "$1" --data "$work/data" "$work/data3" --out "$work/run/$1" \
    "${begin[@]}" --cells "$2" --hidden "$3" --steps "$4" --seed 1
  # shellcheck disable=SC2012 # names are ours
  once "$work/run/$1/.averaged" "$python" "$scripts/average_networks.py" --out "$work/run/$1/average.npz" $(ls "$work/run/$1"/step_*.npz | tail -4)
  once "$work/run/$1/model/model.json" "$python" "$scripts/export_lstm.py" --network "$work/run/$1/average.npz" --data "$work/data" --out "$work/run/$1/model"
}

judge() {
  once "$work/$1.bin" "$bin/wvad" model pack "$work/run/$1/model" -o "$work/$1.bin"
  once "$work/$1.json" "$python" "$scripts/evaluate_model.py" --model "$work/$1.bin" --blocks "$bin/wvad-blocks" --wvad "$bin/wvad" --data "$work/data" \
    --work "$work/eval" --json "$work/$1.json"
}

sessions "$work/data" valid 1.5 1
sessions "$work/data" train 54 1
once "$work/data3/train/.mixed" "$python" "$scripts/mix_sessions.py" --corpus "$corpus" --out "$work/data3" --cache "$work/cache" --split train --hours 9 --seed 3 \
  --only noise --jobs "$jobs"
once "$work/data3/train/.features" features "$work/data3/train"
once "$work/data/judged/.made" "$python" "$scripts/judged_sets.py" --corpus "$corpus" --out "$work/data" --cache "$work/cache"
once "$work/data/judged/.features" features "$work/data/judged"

recurrent lstm_fb75 256 128 5000
recurrent lstm_fb40 224 96 4400
once "$work/run/dnn_fb75/.trained" "$python" "$scripts/train_dnn.py" --data "$work/data" "$work/data3" --judged "$work/data" --out "$work/run/dnn_fb75" --seed 1
once "$work/run/dnn_fb75/model/model.json" "$python" "$scripts/export_dnn.py" --network "$work/run/dnn_fb75/network.npz" --data "$work/data" --out "$work/run/dnn_fb75/model"

for kind in lstm_fb75 lstm_fb40 dnn_fb75; do judge "$kind"; done
(cd "$work" && sha256sum dnn_fb75.bin lstm_fb40.bin lstm_fb75.bin > SHA256SUMS)
