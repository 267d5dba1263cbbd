# SPDX-License-Identifier: Apache-2.0
"""wvad corpus --shards: the rows of one file in many, their sums and manifest, columns; what is refused, and what is left alone."""
import fcntl
import json
import os
import shutil
import subprocess
import sys
import threading
import unittest
from pathlib import Path
from unittest import mock

import numpy as np
from corpus_support import CorpusTest, corpus, files_in
from support import bursts
from wvad import errors
from wvad.corpus import on_dask, plan, task


class Shards(CorpusTest):
    def setUp(self):
        super().setUp()
        self.talks(4)
        Path("talks/bad.wav").write_text("no sound", encoding="utf-8")

    def sharded(self, *arguments, code=1, folder="out"):
        said = subprocess.run(corpus("-j", "1", *arguments, "--shards", folder), capture_output=True, text=True, check=False)
        self.assertEqual((said.returncode, said.stdout), (code, ""), said.stderr)
        return said.stderr

    def test_they_hold_the_rows_of_one_file_and_their_sums_are_right(self):
        self.command("talks", code=1)
        self.assertEqual(self.sharded("talks", "--shard-size", 2, "-j", 2), "out: 5 recordings, 1 of them with an error\n")
        self.assertEqual(sorted(files_in("out")), ["SHA256SUMS", "manifest.json", "shard-00000.jsonl", "shard-00001.jsonl", "shard-00002.jsonl"])
        whole = b"".join(Path(f"out/shard-0000{i}.jsonl").read_bytes() for i in range(3))
        header, rows = Path("out.jsonl").read_bytes().split(b"\n", 1)
        self.assertEqual(whole, rows)
        checked = subprocess.run(["sha256sum", "-c", "--strict", "SHA256SUMS"], cwd="out", capture_output=True, text=True, check=False)
        self.assertEqual((checked.returncode, checked.stdout.count(": OK\n")), (0, 3))
        manifest = json.loads(Path("out/manifest.json").read_bytes())
        self.assertEqual({name: manifest[name] for name in json.loads(header)}, json.loads(header))
        self.assertEqual([(one["name"], one["recordings"], one["errors"], one["sentences"], one["duration"]) for one in manifest["shards"]],
                         [("shard-00000.jsonl", 2, 0, 2, 8), ("shard-00001.jsonl", 2, 1, 1, 4), ("shard-00002.jsonl", 1, 0, 1, 4)])
        self.assertEqual([manifest[name] for name in ("form", "recordings", "errors", "sentences", "duration", "bytes")],
                         ["jsonl", 5, 1, 4, 16, len(rows)])

    def test_columns_hold_the_same(self):
        self.wave("more.wav", bursts(3, [(0, 1)]))
        self.manifest("set.jsonl", {"wav": "more.wav", "offset": 0.5, "text": "ü"}, {"wav": "talks/bad.wav"}, {"wav": "more.wav"},
                      {"wav": ["talks/00.wav", "talks/00.wav"]})
        self.sharded("set.jsonl", "--columns", "--shard-size", 3)
        self.command("set.jsonl", code=1)
        rows = self.rows()[1:]
        first, last = (dict(np.load(f"out/shard-0000{i}.npz")) for i in (0, 1))
        self.assertEqual({name: values.dtype.kind for name, values in first.items()}, {name: values.dtype.kind for name, values in last.items()})
        self.assertEqual((first["recording.number"].tolist(), last["recording.number"].tolist()), ([0, 1, 2], [3]))
        np.testing.assert_equal([first[f"recording.{name}"].tolist() for name in ("rate", "duration", "sentences")],
                                [[16000, 0, 16000], [2.5, np.nan, 3], [1, 0, 1]])
        self.assertEqual(first["recording.error"].tolist(), ["", rows[1]["error"], ""])
        self.assertEqual(json.loads(first["recording.manifest"][0]), rows[0]["manifest"])
        self.assertEqual((first["recording.files"].tolist(), json.loads(last["recording.files"][0])), ([""] * 3, ["talks/00.wav"] * 2))
        self.assertEqual((first["sentence.recording"].tolist(), last["sentence.recording"].tolist()), ([0, 2], [3]))
        for number, row in ((0, rows[0]), (1, rows[2])):
            for name, value in row["sentences"][0].items():
                np.testing.assert_equal(first[f"sentence.{name}"][number], np.nan if value is None else value, name)

    def test_tasks_make_the_same_and_go_on_with_what_another_began(self):
        self.sharded("talks", "--shard-size", 2, folder="wanted")
        wanted = files_in("wanted")
        given = plan.Given(*self.begun("talks", "--shard-size", 2))
        self.assertEqual(given.size, 2)
        for number in (2, 0):
            said = subprocess.run([sys.executable, "-W", "error", "-m", "wvad.corpus.task", os.path.abspath("out"), str(number)], cwd="/",
                                  capture_output=True, text=True, check=False)
            self.assertEqual((said.returncode, said.stderr), (0, ""))
        self.assertEqual(Path("out/shard-00002.jsonl").read_bytes(), wanted["shard-00002.jsonl"])
        # The last shard has one row already, which is not made again.
        rows = wanted["shard-00001.jsonl"].splitlines(keepends=True)
        Path("out/work/00001.part").write_bytes(rows[0].replace(b'"kind"', b'"mine"'))
        self.sharded("talks", "--shard-size", 2)
        self.assertEqual(Path("out/shard-00001.jsonl").read_bytes(), rows[0].replace(b'"kind"', b'"mine"') + rows[1])
        self.assertEqual(Path("out/shard-00000.jsonl").read_bytes(), wanted["shard-00000.jsonl"])

    def test_a_shard_that_was_damaged_since_is_made_again(self):
        self.sharded("talks", "--shard-size", 2, folder="wanted")
        for damaged in (b"", b"#" * len(Path("wanted/shard-00000.jsonl").read_bytes())):  # one of another size, one of the same
            self.begun("talks", "--shard-size", 2)
            begun = plan.Plan(Path("out").absolute())
            task.make(begun, 0)
            task.make(begun, 2)
            Path("out/shard-00000.jsonl").write_bytes(damaged)
            self.sharded("talks", "--shard-size", 2)
            self.assertEqual(files_in("out"), files_in("wanted"))
            shutil.rmtree("out")

    def test_a_result_that_is_an_input_is_not_replaced(self):
        self.sharded("talks")
        before = files_in("out")
        self.assertRegex(self.sharded("out/shard-00000.jsonl", "--force", code=2), "shard-00000.jsonl: is an input of this run")
        self.assertEqual(files_in("out"), before)

    def begun(self, *arguments):
        """A run that has its plan and nothing else. Gives what is kept of what was asked for."""
        script = ("import sys; from unittest import mock; from wvad.corpus import command, local\n"
                  "with mock.patch.object(local, 'into_shards', side_effect=KeyboardInterrupt): sys.exit(command.main(sys.argv[1:]))")
        words = corpus(*arguments, "--shards", "out")
        said = subprocess.run([sys.executable, "-c", script, *words[words.index("corpus") + 1:]], capture_output=True, text=True, check=False)
        self.assertEqual(said.returncode, 130, said.stderr)
        return json.loads(Path("out/work/plan.json").read_bytes())["given"]

    def test_one_shard_is_made_by_one_at_a_time(self):
        """A task waits for the one that makes its shard already, and takes what that one has made."""
        self.begun("talks", "--shard-size", 5)
        self.sharded("talks", "--shard-size", 5, folder="wanted")
        held = open("out/work/00000.part", "ab")
        fcntl.flock(held, fcntl.LOCK_EX)
        begun = plan.Plan(Path("out").absolute())
        found = []
        waiting = threading.Event()

        def made(file, how):
            waiting.set()
            flock(file, how)

        flock = fcntl.flock
        with mock.patch("fcntl.flock", made), mock.patch.object(task, "lines_at_once", side_effect=AssertionError("it is there")):
            other = threading.Thread(target=lambda: found.append(task.make(begun, 0)))
            other.start()
            waiting.wait()
            held.write(Path("wanted/shard-00000.jsonl").read_bytes())
            held.flush()
            Path("out/work/00000.json").write_text(json.dumps({"name": "theirs"}), encoding="utf-8")
            os.replace("out/work/00000.part", "out/shard-00000.jsonl")
            held.close()
            other.join()
        self.assertEqual(found, [{"name": "theirs"}])
        self.assertEqual(Path("out/shard-00000.jsonl").read_bytes(), Path("wanted/shard-00000.jsonl").read_bytes())
        self.assertFalse(Path("out/work/00000.part").exists())

    def test_what_does_not_go_together_is_refused_and_nothing_is_touched(self):
        Path("mine").mkdir()
        Path("mine/file").write_text("mine", encoding="utf-8")
        for arguments, words in ((["talks", "--shard-size", "0"], "--shard-size 0"), (["gone"], "gone: no such file"),
                                 (["talks", "--shards", "mine"], "mine: is not empty, and holds no run"),
                                 (["talks", "--dask", "x", "-j", "2"], "--jobs: with --dask"),
                                 (["talks", "--sbatch=--partition=x"], "--sbatch: is for --slurm")):
            said = subprocess.run(corpus("--shards", "out", *arguments), capture_output=True, text=True, check=False)
            self.assertEqual(said.returncode, 2)
            self.assertRegex(said.stderr, words)
        for option in (["--columns"], ["--shard-size", "3"], ["--dask", "tcp://localhost:1"], ["--slurm"]):
            self.assertRegex(self.command("talks", *option, code=2), "is for shards: give --shards FOLDER")
        self.assertEqual((sorted(os.listdir()), os.listdir("mine")), (["mine", "talks"], ["file"]))

    def test_a_run_goes_on_only_with_what_it_was_begun_with(self):
        self.begun("talks", "--shard-size", 2)
        before = files_in("out/work")
        for arguments in (["talks"], ["talks/00.wav", "--shard-size", 2], ["talks", "--shard-size", 2, "--columns"],
                          ["talks", "--shard-size", 2, "--set", "pad_after=0.1"]):
            self.assertRegex(self.sharded(*arguments, code=2), "was begun by another version, with another model, with other settings or with other recordings")
        self.assertEqual(files_in("out/work"), before)
        with open("out/work/lock", "ab") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            self.assertRegex(self.sharded("talks", "--shard-size", 2, code=2), "out: another run is writing it")
        # From another folder it is the same run when the same recordings are meant.
        Path("else").mkdir()
        os.chdir("else")
        self.sharded("../talks", "--shard-size", 2, folder="../out")
        self.assertIn("talks/00.wav", Path("../out/shard-00000.jsonl").read_text(encoding="utf-8"))

    def test_what_is_done_is_replaced_only_on_demand_and_nothing_else_is(self):
        self.sharded("talks")
        before = files_in("out")
        Path("out/notes").write_text("mine", encoding="utf-8")
        self.assertRegex(self.sharded("talks/00.wav", code=2), "out: is done already; --force")
        self.assertEqual(files_in("out"), {**before, "notes": b"mine"})
        self.sharded("talks/00.wav", "--force", code=0)
        self.assertEqual((json.loads(Path("out/manifest.json").read_bytes())["recordings"], Path("out/notes").read_bytes()), (1, b"mine"))
        Path("out/manifest.json").write_text('{"shards": [{"name": "../talks/00.wav"}]}', encoding="utf-8")
        self.sharded("talks/00.wav", "--force", code=0)
        Path("out/manifest.json").write_text("{}", encoding="utf-8")
        self.assertRegex(self.sharded("talks/00.wav", "--force", code=2), "is no manifest of shards")
        self.assertEqual(Path("out/manifest.json").read_text(encoding="utf-8"), "{}")

    def test_a_folder_of_somebody_else_is_left_as_it_is(self):
        Path("mine").mkdir()
        Path("mine/kept").write_text("mine", encoding="utf-8")
        for name, folder in (("a/work/sub/", None), ("b/work/notes", "mine"), ("c/shard-00000.jsonl", "mine"), ("d/work/plan.json", '{"given": []}'),
                             ("e/work/plan.json", '{"given": [{"wvad": 1}, {}, "jsonl", 1, []], "counts": [], "cwd": "/"}'), ("f/work", "mine"),
                             ("g/manifest.json", '{"name": "extension"}')):
            Path(name if folder is None else os.path.dirname(name)).mkdir(parents=True)
            if folder is not None:
                Path(name).write_text(folder, encoding="utf-8")
            with self.subTest(name):
                before = sorted((path, path.is_file() and path.read_bytes()) for path in Path(name[0]).rglob("*"))
                for options in ([], ["--force"]):
                    self.assertRegex(self.sharded("talks/00.wav", *options, folder=name[0], code=2), "holds no run|is no plan|is no folder|is no manifest")
                self.assertEqual(sorted((path, path.is_file() and path.read_bytes()) for path in Path(name[0]).rglob("*")), before)
        Path("h").mkdir()
        os.symlink("../mine", "h/work")
        self.assertRegex(self.sharded("talks/00.wav", folder="h", code=2), "h/work: is no folder of a run")
        self.assertEqual((os.listdir("h"), os.listdir("mine")), (["work"], ["kept"]))

    def test_what_somebody_else_has_put_into_the_work_of_a_run_stays(self):
        self.begun("talks")
        Path("out/work/sub").mkdir()
        Path("out/work/notes").write_text("mine", encoding="utf-8")
        self.sharded("talks")
        self.assertEqual(sorted(os.listdir("out/work")), ["notes", "sub"])
        self.assertTrue(Path("out/manifest.json").exists())

    def test_another_version_on_a_machine_is_told(self):
        self.begun("talks")
        kept = json.loads(Path("out/work/plan.json").read_bytes())
        kept["given"][0]["wvad"] = "0.0.1"
        Path("out/work/plan.json").write_text(json.dumps(kept), encoding="utf-8")
        said = subprocess.run([sys.executable, "-m", "wvad.corpus.task", "out", "0"], capture_output=True, text=True, check=False)
        self.assertEqual(said.returncode, 2)
        self.assertRegex(said.stderr, "and the run was begun by 0.0.1")

    def test_another_model_of_the_same_name_is_told(self):
        self.begun("talks")
        kept = json.loads(Path("out/work/plan.json").read_bytes())
        kept["given"][0]["model_sha256"] = "0" * 64
        Path("out/work/plan.json").write_text(json.dumps(kept), encoding="utf-8")
        said = subprocess.run([sys.executable, "-m", "wvad.corpus.task", "out", "0"], capture_output=True, text=True, check=False)
        self.assertEqual(said.returncode, 2)
        self.assertRegex(said.stderr, "energy.bin on .* is not the model that the run was begun with")
        self.assertRegex(self.sharded("talks", code=2), "with another model, with other settings")

    def test_a_task_without_the_folder_of_the_run_makes_no_rows(self):
        folder = self.folder / "gone"
        shutil.copytree("talks", folder / "talks")
        os.chdir(folder)
        self.begun("talks")
        os.chdir("..")
        shutil.move("gone/out", "out")
        shutil.rmtree("gone")
        said = subprocess.run([sys.executable, "-m", "wvad.corpus.task", "out", "0"], capture_output=True, text=True, check=False)
        self.assertEqual(said.returncode, 2)
        self.assertRegex(said.stderr, "gone: the folder where the run was begun is not on ")
        self.assertEqual(os.listdir("out"), ["work"])


class WithoutEngines(CorpusTest):
    def test_dask_is_told_where_it_is_missing(self):
        with mock.patch.dict(sys.modules, {"distributed": None}):
            with self.assertRaisesRegex(errors.UnavailableError, "--dask needs the package distributed .Debian: python3-distributed"):
                on_dask.run(None, None, "tcp://localhost:8786")

    def test_dask_is_loaded_only_where_it_is_asked_for(self):
        self.talks(1)
        script = ("import sys\nfrom wvad.corpus import command\ncode = command.main(sys.argv[1:])\n"
                  "print(code, [name for name in sys.modules if 'dask' in name and not name.startswith('wvad.') or name == 'distributed'])")
        words = corpus("talks", "--shards", "out", "-q")
        said = subprocess.run([sys.executable, "-c", script, *words[words.index("corpus") + 1:]], capture_output=True, text=True, check=False)
        self.assertEqual((said.stdout, said.stderr), ("0 []\n", ""))

    def test_slurm_is_told_where_it_is_missing(self):
        self.talks(1)
        with mock.patch.dict(os.environ, {"PATH": "/nowhere"}):
            said = subprocess.run(corpus("talks", "--shards", "out", "--slurm"), capture_output=True, text=True, check=False)
        self.assertEqual(said.returncode, 2)
        self.assertRegex(said.stderr, "--slurm needs Slurm's commands, and there is no sbatch on this machine")


class Pool(unittest.TestCase):
    def test_a_process_whose_parent_is_gone_ends_itself(self):
        script = "from wvad.corpus import pool\npool.end_with(1 << 22)\nprint('still here')"
        said = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=False)
        self.assertEqual((said.returncode, said.stdout), (-9, ""))


if __name__ == "__main__":
    unittest.main()
