# SPDX-License-Identifier: Apache-2.0
"""`python -m wvad corpus`: the sentences of many recordings, on all cores of one machine.

    python -m wvad corpus talks/ more.jsonl -o sentences.jsonl

The output has a header row, which says what made it, and a row for each recording, in the order of the input:

    {"wvad": "0.1.0", "profile": "default", "model": null, "model_sha256": null, ..., "settings": {"min_silence": 0.3}, "recordings_sha256": "..."}
    {"file": "a.wav", "rate": 16000, "channels": 1, "duration": 11.0, "damage": "", "note": "", "sentences": [{"begin": 0.05, ...}, ...]}
    {"file": "b.txt", "error": "b.txt: not an audio file that can be read ...", "kind": "AudioError"}

It appears under its name when it is whole; until then it is NAME.part. After an interrupt, a kill or a loss of power the same command goes on
where the last whole row ends, and the result is the same to the byte as without. Rows do not depend on the number of processes.

With `--shards` the rows lie in many files (`plan`), which this machine makes or the workers of an engine do.

From the input to the output: `inputs` and `manifest` say which recordings there are, `row` and `piece` listen to one, `pool` to many at once,
`part` keeps what is there, `plan` cuts a run into shards and `columns` gives them another form, `local`, `on_dask` and `on_slurm` have them made,
`task` makes one on the machine of an engine, `command` is what a user calls, and `ending` what ends it from outside.
"""
