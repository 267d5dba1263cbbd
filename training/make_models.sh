#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# From a corpus to the five model files, in steps that a second run finds done or goes on with.
#
#     training/make_models.sh CORPUS BIN WORK [INIT]
#
# CORPUS  folder with manifest.csv (docs/training.md)
# BIN     folder with wvad and wvad-blocks
# WORK    what is made: sessions, features, networks, models, about 40 GB
# INIT    folder with smaller models to begin with (lstm_fb75.bin, lstm_fb40.bin); without it networks begin at random and need more steps
#
# PYTHON and JOBS may be set in the environment. TINY=1 goes the whole way with minutes of sessions and networks of a few cells, which find nothing: for
# trying the way itself. docs/training.md says how long each step takes.
set -euo pipefail

corpus=$1 bin=$2 work=$3 init=${4:-}
scripts=$(cd "$(dirname "$0")" && pwd)
python=${PYTHON:-python3} jobs=${JOBS:-2}
export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1

train_hours=54 noise_hours=9 valid_hours=1.5 varied_hours=4.5 disguised_hours=5 piece_hours=10
fb75=(--cells 256 --hidden 128) fb40=(--cells 224 --hidden 96) dnn=(--hidden 256 256)
steps75=5000 steps75_more=1500 steps75_back=1250 steps75_ready=1500 steps40=4400 steps40_more=1500 steps75_8k=900 steps40_8k=1500 report=200 report75_8k=150 report40_8k=150 report75_more=150 report75_back=250 report75_ready=150 report40_more=150
states75_more="0 300 300" states75_back="250 250 1250" state75_ready=1350 states40_pieces="1200 1350" states75_8k="0 300" states40_8k="0 1350"
if [ -n "${TINY:-}" ]; then
  train_hours=0.1 noise_hours=0.02 valid_hours=0.02 varied_hours=0.02 disguised_hours=0.02 piece_hours=0.02
  fb75=(--cells 64 --hidden 32 --streams 4 --piece 20) fb40=("${fb75[@]}") dnn=(--hidden 16 16 --epochs 1)
  steps75=8 steps75_more=4 steps75_back=4 steps75_ready=4 steps40=8 steps40_more=4 steps75_8k=4 steps40_8k=4 report=2 report75_8k=2 report40_8k=2 report75_more=2 report75_back=2 report75_ready=2 report40_more=2
  states75_more="0 2 4" states75_back="2 2 4" state75_ready=2 states40_pieces="2 4" states75_8k="0 2" states40_8k="0 4"
fi

# Runs a command unless the file that stands for its end is there.
once() {
  local done=$1
  shift
  [ -e "$done" ] && return
  "$@"
  mkdir -p "$(dirname "$done")"
  touch "$done"
}

features() {  # of one folder of sessions, for the kinds of 75 and of 40 values; the rate, and whether sessions begin slowly or ready
  local begin=()
  [ "$3" = slow ] && begin=(--ready-means 0)
  "$bin/wvad-blocks" --rate "$2" --centre --half --jobs "$jobs" "${begin[@]}" --out "$1/feat" --list "$1/sessions.txt"
  "$bin/wvad-blocks" --rate "$2" --model lstm_fb40 --half --jobs "$jobs" "${begin[@]}" --out "$1/feat40" --list "$1/sessions.txt"
}

readied() {  # of one folder of sessions at a rate: those that begin with the usual means, as session_blocks.py chooses them: all but every third
  awk 'NR % 3 != 1' "$1/sessions.txt" > "$1/ready.txt"
  "$bin/wvad-blocks" --rate "$2" --centre --half --jobs "$jobs" --out "$1/feat_ready" --list "$1/ready.txt"
}

mixed() {  # folder, split, hours, seed, further options
  local folder=$1 split=$2 hours=$3 seed=$4
  shift 4
  once "$folder/$split/.mixed" "$python" "$scripts/mix_sessions.py" --corpus "$corpus" --out "$folder" --cache "$work/cache" --split "$split" \
    --hours "$hours" --seed "$seed" --jobs "$jobs" "$@"
  once "$folder/$split/.features" features "$folder/$split" 16000 slow
}

narrowed() {  # from folder, to folder, split, share as on a telephone
  once "$2/$3/.narrowed" "$python" "$scripts/narrow_band_sessions.py" --data "$1" --out "$2" --split "$3" --telephone "$4" --jobs "$jobs"
  once "$2/$3/.features" features "$2/$3" 8000 "$([ "$3" = judged ] && echo ready || echo slow)"
}

trained() {  # name, kind, folder of sessions, folder of noise alone, further options
  local name=$1 kind=$2 data=$3 noise=$4
  shift 4
  once "$work/run/$name/.trained" "$python" "$scripts/train_lstm.py" --kind "$kind" --data "$data" "$noise" --out "$work/run/$name" --seed 1 "$@"
}

state() {  # name, step
  echo "$work/run/$1/step_$(printf %05d "$2").npz"
}

averaged() {  # name, steps whose states are averaged
  local name=$1 states=() step
  shift
  for step in "$@"; do states+=("$(state "$name" "$step")"); done
  once "$work/run/$name/.averaged" "$python" "$scripts/average_networks.py" --out "$work/run/$name/average.npz" "${states[@]}"
}

exported() {  # name, folder of sessions
  local name=$1 data=$2
  once "$work/run/$name/model/model.json" "$python" "$scripts/export_lstm.py" --network "$work/run/$name/average.npz" --data "$data" \
    --out "$work/run/$name/model"
}

finished() {  # name, folder of sessions, steps whose states are averaged
  local name=$1 data=$2
  shift 2
  averaged "$name" "$@"
  exported "$name" "$data"
}

recurrent() {  # kind, steps, further options
  local kind=$1 steps=$2 begin=()
  shift 2
  [ -n "$init" ] && begin=(--init "$init/$kind.bin")
  trained "$kind" "$kind" "$work/data" "$work/data3" "${begin[@]}" --steps "$steps" --report "$report" "$@"
  # The last four states that were looked at.
  finished "$kind" "$work/data" $((steps - 3 * report)) $((steps - 2 * report)) $((steps - report)) "$steps"
}

more() {  # kind, steps, steps between two looks, steps whose states are averaged, further options
  local kind=$1 steps=$2 between=$3 states=$4
  shift 4
  once "$work/run/${kind}_more/.trained" "$python" "$scripts/train_lstm.py" --kind "$kind" --data "$work"/data{,3,4,5} --out "$work/run/${kind}_more" \
    --seed 13 --init "$work/run/$kind/average.npz" --teacher-share 0.5 --steps "$steps" --report "$between" --rate 1.5e-4 "$@"
  # shellcheck disable=SC2086 # a list
  finished "${kind}_more" "$work/data" $states
}

taught() {  # writes what a network and one that goes on from it backwards say of all sessions with speech; further options
  local begin=$work/run/lstm_fb75_more/average.npz
  once "$work/run/lstm_fb75_back/.trained" "$python" "$scripts/train_lstm.py" --kind lstm_fb75 --data "$work"/data{,3,5} --out "$work/run/lstm_fb75_back" \
    --seed 14 --backwards --init "$begin" --steps "$steps75_back" --report "$report75_back" --rate 1e-3 "$@"
  # shellcheck disable=SC2086 # a list
  averaged lstm_fb75_back $states75_back
  once "$work/data/train/.taught" "$python" "$scripts/two_way_teacher.py" --forward "$begin" --backward "$work/run/lstm_fb75_back/average.npz" \
    --data "$work"/data{,5}
}

at_once() {  # trains on for recordings that begin with the usual means, twice from the same beginning, and takes the mean of all three; further options
  local begin=$work/run/lstm_fb75_more/average.npz seed states=()
  for seed in 51 52; do
    once "$work/run/lstm_fb75_ready_$seed/.trained" "$python" "$scripts/train_lstm.py" --kind lstm_fb75 --data "$work"/data{,3,4,5,6} \
      --out "$work/run/lstm_fb75_ready_$seed" --seed "$seed" --ready --init "$begin" --taught 0.7 --steps "$steps75_ready" --report "$report75_ready" \
      --rate 6e-4 "$@"
    states+=("$(state "lstm_fb75_ready_$seed" "$state75_ready")")
  done
  # The beginning twice: it weighs as much as both.
  mkdir -p "$work/run/lstm_fb75_ready"
  once "$work/run/lstm_fb75_ready/.averaged" "$python" "$scripts/average_networks.py" --out "$work/run/lstm_fb75_ready/average.npz" \
    "$begin" "$begin" "${states[@]}"
  exported lstm_fb75_ready "$work/data"
}

taught_on() {  # name, seed, rate, folders of sessions and further options: "lstm_fb40" from its average on
  local name=$1 seed=$2 rate=$3
  shift 3
  once "$work/run/$name/.trained" "$python" "$scripts/train_lstm.py" --kind lstm_fb40 --out "$work/run/$name" --seed "$seed" \
    --init "$work/run/lstm_fb40/average.npz" --taught 0.7 --steps "$steps40_more" --report "$report40_more" --rate "$rate" --data "$@"
}

in_pieces() {  # trains "lstm_fb40" on, with short pieces and without them, and takes the mean of the beginning and of what both became; further options
  local states=() step
  taught_on lstm_fb40_pieces 62 6e-4 "$work"/data{,3,4,5,6} "$@"
  taught_on lstm_fb40_taught 32 4e-4 "$work"/data{,3,4,5} "$@"
  for step in $states40_pieces; do states+=("$(state lstm_fb40_pieces "$step")"); done
  mkdir -p "$work/run/lstm_fb40_ready"
  once "$work/run/lstm_fb40_ready/.averaged" "$python" "$scripts/average_networks.py" --out "$work/run/lstm_fb40_ready/average.npz" \
    "$work/run/lstm_fb40/average.npz" "${states[@]}" "$(state lstm_fb40_taught "$steps40_more")"
  exported lstm_fb40_ready "$work/data"
}

narrow() {  # kind, run to begin with, steps, steps between two looks, steps whose states are averaged, rate, folders of sessions and further options
  local kind=$1 from=$2 steps=$3 between=$4 states=$5 rate=$6
  shift 6
  once "$work/run/${kind}_8k/.trained" "$python" "$scripts/train_lstm.py" --kind "$kind" --out "$work/run/${kind}_8k" --seed 1 \
    --init "$work/run/$from/average.npz" --init-data "$work/data" --steps "$steps" --report "$between" --streams 32 --rate "$rate" --data "$@"
  # shellcheck disable=SC2086 # a list
  finished "${kind}_8k" "$work/data_8k" $states
}

judge() {  # name, folder of sessions, run that made it
  once "$work/$1.bin" "$bin/wvad" model pack "$work/run/$3/model" -o "$work/$1.bin"
  once "$work/$1.json" "$python" "$scripts/evaluate_model.py" --model "$work/$1.bin" --blocks "$bin/wvad-blocks" --wvad "$bin/wvad" --data "$2" \
    --work "$work/eval/$1" --json "$work/$1.json"
}

mixed "$work/data" valid "$valid_hours" 1
mixed "$work/data" train "$train_hours" 1
mixed "$work/data3" train "$noise_hours" 3 --only noise
once "$work/data/judged/.made" "$python" "$scripts/judged_sets.py" --corpus "$corpus" --out "$work/data" --cache "$work/cache"
once "$work/data/judged/.features" features "$work/data/judged" 16000 ready

recurrent lstm_fb75 "$steps75" "${fb75[@]}"
recurrent lstm_fb40 "$steps40" "${fb40[@]}"

# "lstm_fb75" once more, gently, with non-speech that is further from what was recorded and with disguised voices; what it was speaks beside the labels.
# Two thirds of an early state and a third of the beginning did best; the steps behind it are there for the course of the rate and to be looked at.
mixed "$work/data4" train "$varied_hours" 4 --only varied
mixed "$work/data5" train "$disguised_hours" 5 --only disguised
more lstm_fb75 "$steps75_more" "$report75_more" "$states75_more" "${fb75[@]}"

# And once more for recordings that begin at once with the usual means, which are what the program and streams have: two thirds of the sessions begin so, and
# ten hours of them are short pieces. Speech is learnt from a teacher that hears both ways.
taught "${fb75[@]}"
once "$work/data6/train/.cut" "$python" "$scripts/cut_pieces.py" --data "$work/data" --out "$work/data6" --hours "$piece_hours"
once "$work/data6/train/.features" features "$work/data6/train" 16000 slow
for folder in data data3 data4 data5 data6; do once "$work/$folder/train/.ready" readied "$work/$folder/train" 16000; done
at_once "${fb75[@]}"

# The other two from the same sessions and the same teacher. "lstm_fb40" hears no difference between the beginnings, but the pieces are for it, too.
in_pieces "${fb40[@]}"
once "$work/run/dnn_fb75/.trained" "$python" "$scripts/train_dnn.py" --data "$work"/data{,3,4,5,6} --judged "$work/data" --out "$work/run/dnn_fb75" \
  --ready --taught 0.7 --seed 1 "${dnn[@]}"
once "$work/run/dnn_fb75/model/model.json" "$python" "$scripts/export_dnn.py" --network "$work/run/dnn_fb75/network.npz" --data "$work/data" \
  --out "$work/run/dnn_fb75/model"

# The recurrent ones once more, for 8000 Hz.
narrowed "$work/data" "$work/data_8k" judged 0
for split in valid train; do narrowed "$work/data" "$work/data_8k" "$split" 0.5; done
for folder in data3 data4 data5 data6; do narrowed "$work/$folder" "$work/${folder}_8k" train 0.5; done
for folder in data_8k data3_8k data4_8k data5_8k; do once "$work/$folder/train/.ready" readied "$work/$folder/train" 8000; done
narrow lstm_fb75 lstm_fb75_ready "$steps75_8k" "$report75_8k" "$states75_8k" 2e-4 "$work"/data{,3,4,5}_8k --ready --teacher-share 0.5 "${fb75[@]}"
# What the teacher said of a session holds for its narrow form.
for folder in data data5 data6; do [ -e "$work/${folder}_8k/train/taught" ] || ln -s "../../$folder/train/taught" "$work/${folder}_8k/train/taught"; done
narrow lstm_fb40 lstm_fb40_ready "$steps40_8k" "$report40_8k" "$states40_8k" 3e-4 "$work"/data{,3,4,5,6}_8k --taught 0.5 "${fb40[@]}"

judge dnn_fb75 "$work/data" dnn_fb75
for name in lstm_fb75 lstm_fb40; do judge "$name" "$work/data" "${name}_ready"; done
for name in lstm_fb75_8k lstm_fb40_8k; do judge "$name" "$work/data_8k" "$name"; done
(cd "$work" && sha256sum ./*.bin | sed 's| \./| |' > SHA256SUMS)
