# SPDX-License-Identifier: Apache-2.0
"""wvad corpus: rows in the order of the input, whatever is wrong with a recording; what cannot be done is refused."""
import contextlib
import hashlib
import io
import json
import os
import signal
import stat
import unittest
from pathlib import Path
from unittest import mock

from corpus_support import CorpusTest
from support import MODEL
from wvad import errors
from wvad.corpus import command, entry, inputs, pool, task


class Corpus(CorpusTest):
    def test_a_folder_gives_a_row_for_each_recording_in_order(self):
        self.talks(5)
        Path("talks/notes.txt").write_text("none", encoding="utf-8")
        Path("talks/.hidden.wav").write_text("none", encoding="utf-8")
        os.mkfifo("talks/pipe.wav")  # would be waited for
        os.symlink("/dev/zero", "talks/zero.wav")
        self.assertRegex(self.command("talks", "-j", 2, "--set", "pad_after=0.1"), "out.jsonl: 5 recordings$")
        header, *rows = self.rows()
        self.assertEqual((header["profile"], header["settings"]), ("default", {"pad_after": 0.1}))
        self.assertEqual([row["file"] for row in rows], [f"talks/{name}.wav" for name in ("00", "02", "04", "deep/01", "deep/03")])
        self.assertEqual([row["sentences"][0]["end"] for row in rows], [2.1, 2.12, 2.14, 2.11, 2.13])
        self.assertEqual({(row["rate"], row["channels"], row["duration"], row["damage"], len(row["sentences"])) for row in rows}, {(16000, 1, 4, "", 1)})
        self.assertFalse(Path("out.jsonl.part").exists())

    def test_what_is_wrong_with_a_recording_is_its_row(self):
        self.talks(1)
        Path("bad.wav").write_text("no sound", encoding="utf-8")
        data = Path("talks/00.wav").read_bytes()
        Path("cut.wav").write_bytes(data[:64000])
        os.rename("talks/00.wav", b"caf\xe9.wav")
        Path("list.txt").write_bytes(b"bad.wav\ngone.wav\n\ncaf\xe9.wav\ntalks\n")
        self.assertRegex(self.command("list.txt", "cut.wav", code=1), "5 recordings, 3 of them with an error")
        bad, gone, good, folder, cut = self.rows()[1:]
        self.assertEqual((bad["kind"], gone["kind"], folder["kind"]), ("AudioError", "AudioFileError", "AudioFileError"))
        self.assertRegex(gone["error"], "gone.wav: no such file")
        self.assertEqual((good["file"], len(good["sentences"])), ("caf\\xe9.wav", 1))
        self.assertEqual((good["path_hex"], "path_hex" in bad), ("636166e92e776176", False))  # c a f 0xE9 . w a v
        self.assertRegex(cut["damage"], "cut short")

    def test_a_manifest_keeps_what_it_says(self):
        self.talks(1)
        Path("set.jsonl").write_text('{"audio_filepath": "talks/00.wav", "text": "hello", "duration": 4}\n[1]\n{"text": "x"}\n\n'
                                     '{"path": "talks/00.wav", "offset": 3}\n{"wav": "talks/00.wav"}\n', encoding="utf-8")
        self.command("set.jsonl", code=1)
        first, second, third, fourth, last = self.rows()[1:]
        self.assertEqual((first["manifest"], first["duration"], len(first["sentences"])), ({"text": "hello", "duration": 4}, 4, 1))
        self.assertRegex(second["error"], "set.jsonl:2: is no JSON object")
        self.assertRegex(third["error"], "set.jsonl:3: names no recording")
        self.assertEqual((fourth["offset"], fourth["duration"], fourth["sentences"]), (3, 1, []))
        self.assertNotIn("manifest", last)

    def test_rows_that_are_there_are_not_made_again(self):
        self.talks(2)
        self.command("talks")
        lines = Path("out.jsonl").read_bytes().splitlines(keepends=True)
        mark = lines[1].replace(b'"note": ""', b'"note": "mine"')
        os.remove("out.jsonl")
        Path("out.jsonl.part").write_bytes(lines[0] + mark)
        self.command("talks")
        self.assertEqual(Path("out.jsonl").read_bytes(), lines[0] + mark + lines[2])

    def test_what_cannot_be_done_is_refused_and_replaces_nothing(self):
        self.talks(1)
        Path("out.jsonl").write_text("mine", encoding="utf-8")
        self.assertRegex(self.command("talks", code=2), "out.jsonl: exists already; --force")
        self.assertEqual(Path("out.jsonl").read_text(encoding="utf-8"), "mine")
        self.command("talks", "--force")
        os.remove("out.jsonl")
        Path("out.jsonl.part").write_text("mine\n", encoding="utf-8")
        self.assertRegex(self.command("talks", code=2), "out.jsonl.part: was made by another version")
        self.assertEqual(Path("out.jsonl.part").read_text(encoding="utf-8"), "mine\n")
        os.remove("out.jsonl.part")
        Path("empty").mkdir()
        for arguments, words in ((["gone"], "gone: no such file"), (["empty"], "no recording"), (["talks", "-j", "0"], "--jobs 0"),
                                 (["talks", "--set", "min_silense=1"], "no such setting"),
                                 (["talks", "--channel", "left"], "--channel left"), (["talks", "--channel", "0"], "--channel 0"),
                                 (["talks", "--recordings", "gone.jsonl"], "gone.jsonl")):
            self.assertRegex(self.command(*arguments, code=2), words)
        self.assertRegex(self.command("talks", "--model", "gone.bin", code=2), "gone.bin")
        self.assertRegex(self.command("talks", code=2, output="gone/out.jsonl"), "^wvad corpus: gone/out.jsonl: No such file or directory$")
        for foreign in ("mine", "0123456789" * 50):  # without the end of a line, too
            Path("out.jsonl.part").write_text(foreign, encoding="utf-8")
            self.assertRegex(self.command("talks", code=2), "out.jsonl.part: was made by another version")
            self.assertEqual(Path("out.jsonl.part").read_text(encoding="utf-8"), foreign)
        os.remove("out.jsonl.part")
        self.assertEqual(sorted(os.listdir()), ["empty", "talks"])

    def test_an_output_that_is_an_input_is_refused_with_force_too(self):
        self.talks(1)
        Path("list.txt").write_text("talks/00.wav\n", encoding="utf-8")
        os.link("talks/00.wav", "linked.wav")
        before = [Path(name).read_bytes() for name in ("talks/00.wav", "list.txt")]
        for inputs_, out in ((["talks"], "talks/00.wav"), (["talks"], "linked.wav"), (["list.txt"], "list.txt"), (["list.txt"], "talks/00.wav"),
                             (["talks", "--recordings", "list.jsonl"], "list.jsonl")):
            Path("list.jsonl").write_text('{"id": "a"}\n', encoding="utf-8")
            self.assertRegex(self.command(*inputs_, "--force", code=2, output=out), f"{out}: is an input of this run")
        self.assertEqual([Path(name).read_bytes() for name in ("talks/00.wav", "list.txt")], before)
        self.assertEqual(sorted(os.listdir()), ["linked.wav", "list.jsonl", "list.txt", "talks"])

    def test_an_output_that_can_be_none_is_refused_at_once(self):
        self.talks(1)
        for out, words in (("", "-o '': expected a name"), ("-", "-o '-': expected a name"), ("talks", "talks: is a folder; -o names a file")):
            self.assertRegex(self.command("talks", "--force", code=2, output=out), words)
        self.assertEqual(os.listdir(), ["talks"])

    def test_what_is_no_file_is_never_replaced(self):
        self.talks(1)
        os.mkfifo("pipe")
        for out in ("pipe", "link"):
            if out == "link":
                os.symlink("pipe", "link")
            for force in ([], ["--force"]):
                self.assertRegex(self.command("talks", *force, code=2, output=out), f"{out}: is a device, a pipe or a socket")
        self.assertTrue(stat.S_ISFIFO(os.lstat("pipe").st_mode))
        self.assertEqual(sorted(os.listdir()), ["link", "pipe", "talks"])

    def test_a_link_stays_and_its_file_is_replaced_with_force_alone(self):
        self.talks(1)
        Path("deep").mkdir()
        for name in ("file", "gone"):
            os.symlink(f"deep/{name}", name)
        os.symlink("round", "round")
        Path("deep/file").write_text("mine", encoding="utf-8")
        for out in ("file", "gone", "round"):
            self.assertRegex(self.command("talks", code=2, output=out), f"{out}: exists already; --force")
        self.assertEqual((os.listdir("deep"), Path("deep/file").read_text(encoding="utf-8")), (["file"], "mine"))
        for out in ("file", "gone"):
            self.assertRegex(self.command("talks", "--force", output=out), f"{out}: 1 recording$")
            self.assertEqual((os.readlink(out), len(self.rows(out))), (f"deep/{out}", 2))
        self.assertRegex(self.command("talks", "--force", code=2, output="round"), "round: is a link that leads to itself")
        self.assertEqual((sorted(os.listdir()), sorted(os.listdir("deep"))), (["deep", "file", "gone", "round", "talks"], ["file", "gone"]))

    def test_what_nobody_expected_is_no_run_that_is_done(self):
        for environment in ({}, {"WVAD_TRACEBACK": "1"}):
            said = io.StringIO()
            with mock.patch.object(inputs, "entries", side_effect=ZeroDivisionError("odd")), mock.patch.dict(os.environ, environment), \
                    contextlib.redirect_stderr(said):
                self.assertEqual(command.main(["talks", "-o", "out"]), 2)
            self.assertRegex(said.getvalue(), "wvad corpus: ZeroDivisionError: odd")
            self.assertEqual("Traceback" in said.getvalue(), bool(environment))

    def test_another_list_does_not_go_on_with_the_rows_of_one(self):
        self.talks(3)
        self.command("talks/00.wav", "talks/02.wav")
        os.rename("out.jsonl", "out.jsonl.part")
        for others in (["talks/02.wav", "talks/00.wav"], ["talks/00.wav"], ["talks/00.wav", "talks/02.wav", "talks/deep"]):
            self.assertRegex(self.command(*others, code=2), "out.jsonl.part: was made of other recordings")
        self.assertEqual(len(self.rows("out.jsonl.part")), 3)

    def test_rows_of_a_manifest_that_was_changed_are_not_gone_on_with(self):
        self.talks(1)
        row = {"wav": "talks/00.wav", "offset": 0.5, "duration": 2, "text": "x"}
        self.manifest("set.jsonl", row, row)
        self.command("set.jsonl")
        os.rename("out.jsonl", "out.jsonl.part")
        for changed in ({"offset": 0}, {"duration": 3}, {"text": "y"}):
            self.manifest("set.jsonl", row, {**row, **changed})
            self.assertRegex(self.command("set.jsonl", code=2), "out.jsonl.part: was made of other recordings, or of other pieces")
        self.manifest("set.jsonl", row, row)
        self.command("set.jsonl")

    def test_rows_of_another_model_of_the_same_name_are_not_gone_on_with(self):
        self.talks(1)
        data = MODEL.read_bytes()
        Path("own.bin").write_bytes(data)
        self.command("talks", "--model", "own.bin")
        self.assertEqual(self.rows()[0]["model_sha256"], hashlib.sha256(data).hexdigest())
        os.rename("out.jsonl", "out.jsonl.part")
        with mock.patch.object(task.Path, "read_bytes", lambda _: b"another"):
            said = io.StringIO()
            with contextlib.redirect_stderr(said):
                self.assertEqual(command.main(["talks", "-o", "out.jsonl", "--model", "own.bin"]), 2)
        self.assertRegex(said.getvalue(), "out.jsonl.part: was made with another model of this name")
        self.command("talks", "--model", "own.bin")

    def test_a_recording_that_takes_its_process_down_is_a_row(self):
        names = ["a", "kills", *"bcdefgh", "kills", "i"]
        rows = [json.loads(line) for line in pool.lines_at_once([entry.Entry(name, name) for name in names], {}, 2, may_kill)]
        self.assertEqual([row["file"] for row in rows], names)
        self.assertEqual([row["file"] for row in rows if "error" in row], ["kills", "kills"])
        self.assertRegex(rows[1]["error"], "process.*was ended")

    def test_processes_that_cannot_be_started_are_no_fault_of_a_recording(self):
        with mock.patch.object(pool, "_begin_worker", ends_at_once):
            with self.assertRaisesRegex(errors.StateError, "cannot be started"):
                list(pool.lines_at_once([entry.Entry("a", "a")], {}, 2, may_kill))

    def test_two_runs_do_not_write_one_output(self):
        import fcntl

        self.talks(1)
        with open("out.jsonl.part", "wb") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            self.assertRegex(self.command("talks", code=2), "another run is writing it")

    def test_folders_that_cannot_be_read_are_told(self):
        with mock.patch.object(os, "scandir", side_effect=PermissionError(13, "Permission denied")):
            with self.assertRaisesRegex(errors.AudioFileError, "talks: Permission denied"):
                self.talks(1)
                list(inputs.entries(["talks"], {}))


def ends_at_once(parent):
    os.kill(os.getpid(), signal.SIGKILL)


def may_kill(entry, options):
    if entry.name == "kills":
        os.kill(os.getpid(), signal.SIGKILL)
    return {"file": entry.name}


if __name__ == "__main__":
    unittest.main()
