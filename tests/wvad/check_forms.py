#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_forms.py PROGRAM MODEL READER: what `wvad segment` writes, read by a program that is not ours.

The recording has bursts from 1.0 to 2.0 s and from 3.0 to 3.5 s, 5 s long; with the energy model of the tests a burst from a to b is the sentence
from a - 0.30 to b + 0.20 (tests/wvad/signals.h), so the sentences are those of SENTENCES. Exit code 77 (a skipped test) where READER is not
installed."""
import csv
import json
import pathlib
import shlex
import shutil
import subprocess
import sys
import tempfile
import wave

SENTENCES = [(0.7, 2.2), (2.7, 3.7)]
LENGTH = 5.0
RATE = 16000
SKIPPED = 77


def bursts(channels=1):
    samples = bytearray()
    for i in range(int(LENGTH * RATE)):
        loud = 1.0 <= i / RATE < 2.0 or 3.0 <= i / RATE < 3.5
        value = (8000 if i // 160 % 2 == 0 else -8000) if loud else 0
        samples += value.to_bytes(2, "little", signed=True) * channels
    return bytes(samples)


def write_recording(path, channels=1):
    with wave.open(str(path), "wb") as file:
        file.setnchannels(channels)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(bursts(channels))
    return path


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], capture_output=True, check=False, **options)
    assert done.returncode == 0, (command, done.returncode, done.stderr[-2000:], done.stdout[-2000:])
    return done.stdout


class Folder:
    """The program with its model in a folder of its own, and recordings there."""

    def __init__(self, program, model):
        self.program, self.model = pathlib.Path(program).resolve(), pathlib.Path(model).resolve()
        self.made = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.made.name)

    def segment(self, *arguments):
        return run(self.program, "segment", "--model", self.model, *arguments, cwd=self.path)


def equal(found, expected):
    assert found == expected, f"found {found}, expected {expected}"


def check_csv(folder):
    name = 'a,b\t"c"\nd.wav'
    write_recording(folder.path / name)
    for form, separator in (("csv", ","), ("tsv", "\t")):
        text = folder.segment("-f", form, name).decode()
        rows = list(csv.DictReader(text.splitlines(keepends=True), delimiter=separator))
        equal([(float(row["begin"]), float(row["end"])) for row in rows], SENTENCES)
        equal({row["file"] for row in rows}, {name})


def check_json(folder):
    name = 'a "b".wav'
    write_recording(folder.path / name, channels=2)
    folder.segment("-f", "json,jsonl,lhotse", "-o", "out", name)
    document = json.loads((folder.path / 'out/a "b".json').read_text())
    equal([(row["begin"], row["end"]) for row in document["files"][0]["sentences"]], SENTENCES)
    lines = [json.loads(line) for line in (folder.path / 'out/a "b".jsonl').read_text().splitlines()]
    equal([(row["begin"], row["end"]) for row in lines if row["event"] == "sentence"], SENTENCES)
    equal(lines[-1]["made_by"], document["made_by"])
    recording = json.loads((folder.path / "out/recordings.jsonl").read_text())
    supervisions = [json.loads(line) for line in (folder.path / "out/supervisions.jsonl").read_text().splitlines()]
    equal(recording["num_samples"] / recording["sampling_rate"], recording["duration"])
    with wave.open(recording["sources"][0]["source"]) as file:
        equal((file.getframerate(), file.getnframes(), list(range(file.getnchannels()))),
              (recording["sampling_rate"], recording["num_samples"], recording["channel_ids"]))
    equal([(row["recording_id"], row["start"], round(row["start"] + row["duration"], 3), row["channel"]) for row in supervisions],
          [('a "b"', begin, end, [0, 1]) for begin, end in SENTENCES])


def check_praat(folder):
    write_recording(folder.path / "a.wav")
    script = folder.path / "read.praat"
    script.write_text("""form Read
  sentence path
endform
grid = Read from file: path$
writeInfoLine: Get total duration
n = Get number of intervals: 1
for i to n
  begin = Get start time of interval: 1, i
  end = Get end time of interval: 1, i
  label$ = Get label of interval: 1, i
  appendInfoLine: begin, " ", end, " ", label$
endfor
""".replace("writeInfoLine: Get total duration", "length = Get total duration\nwriteInfoLine: length"))
    folder.segment("-f", "textgrid", "-o", "a.TextGrid", "a.wav")
    rows = [line.split() for line in run("praat", "--run", script, folder.path / "a.TextGrid").decode().splitlines()]
    equal(float(rows[0][0]), LENGTH)
    equal([(float(row[0]), float(row[1])) for row in rows[1:] if row[2:] == ["speech"]], SENTENCES)
    equal([(float(row[0]), float(row[1])) for row in rows[1:] if row[2:] == []], [(0.0, 0.7), (2.2, 2.7), (3.7, 5.0)])


def check_ffmpeg(folder):
    write_recording(folder.path / "it's a talk.wav")
    folder.segment("-f", "srt,vtt,ffconcat", "-o", "out", "it's a talk.wav")
    for ending in ("srt", "vtt"):
        packets = json.loads(run("ffprobe", "-v", "error", "-show_packets", "-of", "json", folder.path / f"out/it's a talk.{ending}"))["packets"]
        found = [(float(row["pts_time"]), round(float(row["pts_time"]) + float(row["duration_time"]), 3)) for row in packets]
        equal(found, SENTENCES)
        # Decoded, too: readers drop captions that hold nothing.
        decoded = run("ffmpeg", "-nostdin", "-v", "error", "-i", folder.path / f"out/it's a talk.{ending}", "-f", "srt", "-")
        equal(decoded.count(b"-->"), len(SENTENCES))
    heard = run("ffmpeg", "-nostdin", "-v", "error", "-safe", "0", "-i", folder.path / "out/it's a talk.ffconcat", "-f", "s16le", "-")
    expected = b"".join(bursts()[int(begin * RATE) * 2:int(end * RATE) * 2] for begin, end in SENTENCES)
    # ffmpeg cuts by packets of 1024 samples.
    assert abs(len(heard) - len(expected)) <= 2 * 2 * 2 * 1024, (len(heard), len(expected))
    assert heard.count(b"\x40\x1f") >= RATE * 1.5 / 2 - 2 * 1024, "the bursts are missing"


def check_kaldi(folder):
    """wav.scp names what Kaldi reads, WAV of 16 bits and one channel, and holds commands for a shell that make it of all else."""
    write_recording(folder.path / "stereo.wav", channels=2)
    write_recording(folder.path / "mono.wav")
    run("ffmpeg", "-nostdin", "-v", "error", "-i", folder.path / "mono.wav", "-c:a", "pcm_f32le", folder.path / "float.wav")
    (folder.path / "it's here").mkdir()
    run("ffmpeg", "-nostdin", "-v", "error", "-i", folder.path / "stereo.wav", folder.path / "it's here/talk.flac")
    folder.segment("-f", "kaldi", "-o", "out", "it's here/talk.flac", "stereo.wav", "mono.wav", "float.wav")
    entries = dict(line.split(" ", 1) for line in (folder.path / "out/wav.scp").read_text().splitlines())
    equal(sorted(entries), ["float", "mono", "stereo", "talk"])
    equal(entries.pop("mono"), str(folder.path / "mono.wav"))
    for command in entries.values():
        assert command.endswith("|"), command
        sound = run("sh", "-c", command[:-1])
        equal((sound[:4], sound[8:12], int.from_bytes(sound[22:24], "little"), int.from_bytes(sound[24:28], "little")), (b"RIFF", b"WAVE", 1, RATE))
        equal((int.from_bytes(sound[20:22], "little"), int.from_bytes(sound[34:36], "little")), (1, 16))
        assert len(sound) > LENGTH * RATE * 2, len(sound)
        equal(shlex.split(command)[-1], "|")


def check_xmllint(folder):
    name = "a & <b> 'c'.wav"
    write_recording(folder.path / name)
    folder.segment("-f", "eaf", "-o", "a.eaf", name)

    def value(path):
        return run("xmllint", "--noout", "--xpath", path, folder.path / "a.eaf").decode().strip()

    equal(value("count(/ANNOTATION_DOCUMENT/TIER[@TIER_ID='speech']/ANNOTATION/ALIGNABLE_ANNOTATION)"), "2")
    for i, (begin, end) in enumerate(SENTENCES, 1):
        for which, seconds in ((1, begin), (2, end)):
            slot = f"//ALIGNABLE_ANNOTATION[@ANNOTATION_ID='a{i}']/@TIME_SLOT_REF{which}"
            equal(value(f"string(//TIME_SLOT[@TIME_SLOT_ID={slot}]/@TIME_VALUE)"), str(round(seconds * 1000)))
    equal(value("count(//TIER[not(@LINGUISTIC_TYPE_REF=//LINGUISTIC_TYPE/@LINGUISTIC_TYPE_ID)])"), "0")
    url = value("string(//MEDIA_DESCRIPTOR/@MEDIA_URL)")
    assert url.startswith("file:///") and url.endswith("/a%20%26%20%3Cb%3E%20%27c%27.wav"), url
    equal(json.loads(value("string(//PROPERTY[@NAME='wvad recording'])"))["file"], name)


def check_sctk(folder):
    write_recording(folder.path / "talk.wav")
    folder.segment("-f", "rttm,uem,ctm,stm", "-o", "out", "talk.wav")
    reference = folder.path / "ref.rttm"
    reference.write_text("".join(f"SPEAKER talk 1 {begin} {end - begin:.3f} <NA> <NA> anybody <NA> <NA>\n" for begin, end in SENTENCES))
    told = run("sctk", "md-eval", "-u", folder.path / "out/talk.uem", "-r", reference, "-s", folder.path / "out/talk.rttm").decode()
    times = {line.split("=")[0].strip(): float(line.split("=")[1].split()[0]) for line in told.splitlines() if " secs (" in line or "EVAL TIME" in line}
    speech = sum(end - begin for begin, end in SENTENCES)
    # The UEM has the sentences for its regions.
    equal([times[name] for name in ("EVAL TIME", "EVAL SPEECH", "MISSED SPEECH", "FALARM SPEECH")], [speech, speech, 0.0, 0.0])
    assert "OVERALL SPEAKER DIARIZATION ERROR = 0.00 percent" in told, told
    # With the words filled in, the STM is a reference for the CTM, whose words are "speech".
    lines = (folder.path / "out/talk.stm").read_text().splitlines()
    (folder.path / "ref.stm").write_text("".join(line + ("" if line.startswith(";;") else " speech") + "\n" for line in lines))
    told = run("sctk", "sclite", "-r", folder.path / "ref.stm", "stm", "-h", folder.path / "out/talk.ctm", "ctm", "-o", "rsum", "stdout").decode()
    total = next(line for line in told.splitlines() if "Sum" in line)
    equal([int(number) for number in total.replace("|", " ").split() if number.isdigit()][:7], [2, 2, 2, 0, 0, 0, 0])


READERS = {"csv": (check_csv, ()), "json": (check_json, ()), "praat": (check_praat, ("praat",)), "ffmpeg": (check_ffmpeg, ("ffmpeg", "ffprobe")),
           "kaldi": (check_kaldi, ("ffmpeg",)), "xmllint": (check_xmllint, ("xmllint",)), "sctk": (check_sctk, ("sctk",))}


def main():
    program, model, reader = sys.argv[1:]
    check, needs = READERS[reader]
    missing = [name for name in needs if shutil.which(name) is None]
    if missing:
        print("skipped: there is no " + ", ".join(missing))
        return SKIPPED
    check(Folder(program, model))
    return 0


if __name__ == "__main__":
    sys.exit(main())
