#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""program_test.py SCENE EMULATOR PROGRAM NATIVE TREE: the program for Windows, PROGRAM, run by EMULATOR, beside NATIVE, the program of this system:
what they write is equal, byte for byte but for how paths are spelt, and so are their exit codes. Exit code 77 (a skipped test) where NATIVE has not
been built."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import wave

SKIPPED = 77
FORMS = ("table json jsonl csv tsv rttm ctm stm uem labels textgrid eaf srt vtt ffconcat edl lhotse-recordings lhotse-supervisions kaldi-segments "
         "kaldi-wav-scp kaldi-utt2spk").split()
OF_RECORDINGS = ("lhotse-recordings", "kaldi-wav-scp")  # forms with a line for each recording, and none for a sentence
# Neither is in the code page that Windows has in the West, and the second in none of it.
NAME = "\u00fcbung \u65e5\u672c"


class Programs:
    """Both programs in a folder of their own that holds the recordings."""

    def __init__(self, emulator, program, native, tree):
        self.tree = pathlib.Path(tree).resolve()
        self.windows = [str(pathlib.Path(emulator).resolve()), str(pathlib.Path(program).resolve())]
        self.native = [str(pathlib.Path(native).resolve())]
        self.made = tempfile.TemporaryDirectory()
        self.folder = pathlib.Path(self.made.name)
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8", "SOURCE_DATE_EPOCH": "0"}
        for name in ("jfk.flac", "moby.flac"):
            shutil.copy(self.tree / "examples/audio" / name, self.folder)

    def call(self, program, arguments, **options):
        return subprocess.run([*program, *map(str, arguments)], cwd=self.folder, env=self.environment, capture_output=True, check=False,
                              **{"stdin": subprocess.DEVNULL, **options})

    def both(self, *arguments, **options):
        """What the two give: (code, output, errors) of the one for Windows and of the native one, paths spelt alike."""
        runs = [self.call(program, arguments, **options) for program in (self.windows, self.native)]
        return tuple((run.returncode, spelt(run.stdout), spelt(run.stderr)) for run in runs)

    def equal(self, *arguments, code=0, **options):
        """Holds that both give the same; the output."""
        windows, native = self.both(*arguments, **options)
        assert native[0] == code, (arguments, native)
        assert windows == native, (arguments, windows, native)
        return native[1]


def spelt(text):
    """Paths as this system spells them: the program for Windows sees its root as the drive Z:."""
    return text.replace(b"\r\n", b"\n").replace(b"\\\\", b"/").replace(b"\\", b"/").replace(b"file:///Z:", b"file://").replace(b"Z:/", b"/")


def write_wave(path, channels=1, rate=16000):
    """Bursts from 1.0 to 2.0 s and from 3.0 to 3.5 s, 5 s long."""
    samples = bytearray()
    for i in range(5 * rate):
        loud = 1.0 <= i / rate < 2.0 or 3.0 <= i / rate < 3.5
        value = (8000 if i * 100 // rate % 2 == 0 else -8000) if loud else i * 7919 % 7 - 3
        samples += value.to_bytes(2, "little", signed=True) * channels
    with wave.open(str(path), "wb") as file:
        file.setnchannels(channels)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(bytes(samples))


def forms(programs):
    """Every text form."""
    for form in FORMS:
        out = programs.equal("segment", "--bare", "-f", form, "jfk.flac")
        assert len(out.splitlines()) >= (1 if form in OF_RECORDINGS else 4), (form, out)
    assert b"eg" in programs.equal("segment", "jfk.flac")
    programs.equal("segment", "--bare", "--printf", "{file} {begin} {end}\\n", "jfk.flac", "moby.flac")


def inputs(programs):
    """Kinds of recordings, standard input, folders, names by patterns."""
    write_wave(programs.folder / "plain.wav")
    write_wave(programs.folder / "wide.wav", channels=2, rate=44100)
    write_wave(programs.folder / "narrow.wav", rate=8000)
    for name in ("plain.wav", "wide.wav", "narrow.wav", "moby.flac"):
        programs.equal("segment", "--bare", "-f", "json", name)
    for name in ("moby.ogg", "moby.opus", "moby.mp3"):
        made = programs.call(programs.native, ["mute", "moby.flac", "-o", name])
        assert made.returncode == 0, made
        programs.equal("segment", "--bare", "-f", "csv", name)
    for name in ("plain.wav", "moby.flac"):
        bytes_of = (programs.folder / name).read_bytes()
        programs.equal("segment", "--bare", "-f", "csv", "-", input=bytes_of, stdin=None)
    (programs.folder / "sub").mkdir()
    for name in ("plain.wav", "jfk.flac"):
        shutil.copy(programs.folder / name, programs.folder / "sub" / name)
    programs.equal("segment", "--bare", "-f", "csv", "sub")
    run = programs.call(programs.windows, ["segment", "--bare", "-f", "csv", "SUB\\J*.FLAC"])
    assert run.returncode == 0 and run.stdout.lower().count(b"jfk.flac,") == 4 and b"plain" not in run.stdout, run


def names(programs):
    """Names of every script on the command line, in what is written, and of what is written."""
    shutil.copy(programs.folder / "jfk.flac", programs.folder / f"{NAME}.flac")
    out = programs.equal("segment", "--bare", "-f", "csv", f"{NAME}.flac")
    assert NAME.encode() in out, out
    run = programs.call(programs.windows, ["segment", "--bare", f"{NAME}.flac", "-o", f"{NAME}.csv"])
    assert run.returncode == 0, run
    assert (programs.folder / f"{NAME}.csv").read_bytes() == out
    windows, native = programs.both("segment", f"{NAME}-none.wav")
    assert windows == native and NAME.encode() in windows[2], (windows, native)
    shutil.copy(programs.tree / "models/lstm_fb75.bin", programs.folder / f"{NAME}.bin")
    programs.equal("segment", "--bare", "-f", "csv", "-m", f"./{NAME}.bin", "jfk.flac")
    run = programs.call(programs.windows, ["split", f"{NAME}.flac", "-d", f"{NAME}-folder"])
    assert run.returncode == 0 and (programs.folder / f"{NAME}-folder" / f"{NAME}-0004.wav").exists(), run
    programs.equal("segment", "--bare", "-f", "csv", ".", "--include", f"{NAME[0]}*.flac")
    (programs.folder / "list").write_text(f"{NAME}.flac\n", encoding="utf-8")
    programs.equal("segment", "--bare", "-f", "csv", "--files-from", "list")
    (programs.folder / "list").write_bytes(f"{NAME}.flac\r\n".encode())
    run = programs.call(programs.windows, ["segment", "--bare", "-f", "csv", "--files-from", "list"])
    assert run.returncode == 0 and run.stdout == out, run


def two_writers(programs):
    """While one run writes a file, another is told so, and the first one's is whole."""
    command = ["segment", "--bare", "-f", "csv", "-", "-o", "shared.csv"]
    with subprocess.Popen([*programs.windows, *command], cwd=programs.folder, env=programs.environment, stdin=subprocess.PIPE) as first:
        deadline = time.monotonic() + 300
        while not (programs.folder / "shared.csv.wvad-part").exists():
            assert first.poll() is None and time.monotonic() < deadline, "the first run does not begin to write"
            time.sleep(0.1)
        second = programs.call(programs.windows, command[:-3] + ["jfk.flac", "-o", "shared.csv"])
        assert second.returncode != 0 and b"shared.csv: is being written by another run" in second.stderr, second
        first.communicate((programs.folder / "jfk.flac").read_bytes(), timeout=300)
    assert first.returncode == 0
    assert len((programs.folder / "shared.csv").read_bytes().splitlines()) == 5
    assert not (programs.folder / "shared.csv.wvad-part").exists()


def outputs(programs):
    """What is there is kept, what is written is whole, and nothing else is left."""
    (programs.folder / "there.csv").write_text("mine\n", encoding="utf-8")
    before = sorted(programs.folder.iterdir())
    windows, native = programs.both("segment", "jfk.flac", "-o", "there.csv")
    assert windows == native and windows[0] != 0 and b"exists already" in windows[2], (windows, native)
    assert (programs.folder / "there.csv").read_text(encoding="utf-8") == "mine\n"
    assert sorted(programs.folder.iterdir()) == before
    run = programs.call(programs.windows, ["segment", "--bare", "--force", "jfk.flac", "-o", "there.csv"])
    assert run.returncode == 0, run
    assert (programs.folder / "there.csv").read_bytes() == programs.equal("segment", "--bare", "-f", "csv", "jfk.flac")
    two_writers(programs)
    for name, program in (("windows", programs.windows), ("native", programs.native)):
        for command in (["split", "moby.flac", "-d", f"{name}-split"],
                        ["trim", "moby.flac", "-o", f"{name}-trim.wav"],
                        ["segment", "--bare", "-f", "rttm,srt", "moby.flac", "-o", f"{name}-forms"],
                        ["features", "moby.flac", "-d", f"{name}-features"]):
            run = programs.call(program, command)
            assert run.returncode == 0, (name, command, run)
    assert (programs.folder / "windows-trim.wav").read_bytes() == (programs.folder / "native-trim.wav").read_bytes()
    for kind in ("split", "forms", "features"):
        ours = {path.name: spelt(path.read_bytes()) for path in (programs.folder / f"windows-{kind}").iterdir()}
        others = {path.name: spelt(path.read_bytes()) for path in (programs.folder / f"native-{kind}").iterdir()}
        assert ours == others and ours, (kind, sorted(ours), sorted(others), [name for name in ours if ours[name] != others.get(name)])


def commands(programs):
    """The other commands."""
    assert programs.equal("--version").startswith(b"wvad ")
    assert b"segment" in programs.equal("--help")
    assert len(programs.equal("scores", "jfk.flac").splitlines()) > 1000
    programs.equal("quality", "--bare", "jfk.flac")
    programs.equal("explain", "--at", "2", "jfk.flac")
    (programs.folder / "a.csv").write_bytes(programs.equal("segment", "--bare", "-f", "csv", "jfk.flac"))
    programs.equal("compare", "a.csv", "a.csv")
    run = programs.call(programs.windows, ["report", "jfk.flac", "-o", "page.html"])
    assert run.returncode == 0 and (programs.folder / "page.html").stat().st_size > 100000, run


def refusals(programs):
    """What this build cannot do is told in one line."""
    (programs.folder / "film.mp4").write_bytes(bytes.fromhex("0000001866747970697361") + b"\0" * 64)
    for arguments, words in ((["segment", "film.mp4"], "FFmpeg's libraries are needed"), (["listen"], "PortAudio is needed"),
                             (["segment", "none.wav"], "no such file"), (["segment", "jfk.flac", "-m", "C:\\none.bin"], "no such model"),
                             (["segmnt"], "segment")):
        run = programs.call(programs.windows, arguments)
        assert run.returncode != 0 and run.stdout == b"", (arguments, run)
        assert len(run.stderr.splitlines()) == 1 and words in run.stderr.decode(), (arguments, run)


def main():
    scene, *rest = sys.argv[1:]
    if not pathlib.Path(rest[2]).exists():
        print(f"{rest[2]} has not been built")
        return SKIPPED
    {"forms": forms, "inputs": inputs, "names": names, "outputs": outputs, "commands": commands, "refusals": refusals}[scene](Programs(*rest))
    return 0


if __name__ == "__main__":
    sys.exit(main())
