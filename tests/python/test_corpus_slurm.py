# SPDX-License-Identifier: Apache-2.0
"""wvad corpus --slurm, on a cluster of this machine alone: the bytes of one process; tasks that are killed lose nothing; an interrupt leaves the job, and
the same command watches it again."""
import os
import re
import shutil
import signal
import subprocess
import tempfile
import unittest
from contextlib import suppress
from pathlib import Path

import slurm_cluster
from corpus_support import CorpusTest, Fifo, corpus, files_in, wait_until

MISSING = slurm_cluster.missing()


@unittest.skipIf(MISSING, MISSING)
class OnACluster(CorpusTest):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cluster = slurm_cluster.Cluster(scratch.name)
        cls.addClassCleanup(cluster.end)
        cluster.begin()

    def setUp(self):
        super().setUp()
        self.listed_talks(7)
        subprocess.run(corpus("-j", 1, "talks.txt", "--shards", "wanted", "--shard-size", 2, "-q"), check=True)
        self.wanted = files_in("wanted")

    def start(self, *arguments):
        """The command in the background; the file `asked` gets a byte for each time that it asks for the job's tasks."""
        Path("bin").mkdir(exist_ok=True)
        Path("asked").write_bytes(b"")
        Path("bin/squeue").write_text(f'#!/bin/sh\nprintf . >>"{self.folder}/asked"\nexec {shutil.which("squeue")} "$@"\n', encoding="utf-8")
        Path("bin/squeue").chmod(0o755)
        child = subprocess.Popen(corpus("talks.txt", "--shards", "out", "--shard-size", 2, "--slurm", *arguments), stderr=subprocess.PIPE, text=True,
                                 env=dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}"))
        self.addCleanup(child.stderr.close)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        return child

    def ends(self, child, code=0):
        words = child.communicate()[1]
        self.assertEqual(child.returncode, code, words)
        return words

    def test_the_results_are_those_of_one_process(self):
        self.assertEqual(self.ends(self.start("-j", 1, "--sbatch=--comment=ours")), "out: 7 recordings\n")
        self.assertEqual(files_in("out"), self.wanted)
        self.assertFalse(Path("out/work").exists())

    def test_a_task_that_is_killed_loses_nothing(self):
        with Fifo("talks/deep/03.wav") as pipe:  # the last of shard 2
            child = self.start()
            wait_until(lambda: all(Path(f"out/shard-0000{i}.jsonl").exists() for i in (0, 1, 3)), child)
            pipe.wait_for_reader()
            kill_task()
            pipe.drop_reader()
            # The shard goes into a job of its own. Where that brings nothing either, it ends.
            wait_until(lambda: len(list(Path("out/work").glob("slurm-*.list"))) == 2, child)
            pipe.wait_for_reader()
            kill_task()
            pipe.drop_reader()
            words = self.ends(child, 2)
            self.assertRegex(words, r"1 of 4 shards could not be made; the same command tries again. Job \d+: ")
            self.assertEqual(Path("out/work/00002.part").read_bytes().count(b"\n"), 1)
            child = self.start()
            pipe.wait_for_reader()
            pipe.serve()
            self.assertEqual(self.ends(child), "out: 7 recordings\n")
        self.assertEqual(files_in("out"), self.wanted)

    def test_an_interrupt_leaves_the_job_and_the_same_command_watches_it_again(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.start()
            pipe.wait_for_reader()
            child.send_signal(signal.SIGINT)
            words = self.ends(child, 130)
            job = re.fullmatch(r"\nwvad corpus: interrupted; job (\d+) goes on; the same command watches it again, scancel \1 ends it\n", words).group(1)
            self.assertEqual(jobs(), {job})
            child = self.start()
            wait_until(lambda: len(Path("asked").read_bytes()) >= 2, child)  # whether the job is there still, and then how it goes
            child.send_signal(signal.SIGTERM)
            # Behind it Python may warn of the squeue that was just being asked, since warnings are on here.
            self.assertEqual(self.ends(child, 130).splitlines(True)[0], words[1:])
            child = self.start()
            wait_until(lambda: len(Path("asked").read_bytes()) >= 2, child)
            self.assertEqual((jobs(), len(list(Path("out/work").glob("slurm-*.list")))), ({job}, 1))
            pipe.serve()
            self.assertEqual(self.ends(child), "out: 7 recordings\n")
        self.assertEqual(files_in("out"), self.wanted)

    def test_a_job_that_was_cancelled_goes_on_in_another(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.start()
            pipe.wait_for_reader()
            child.kill()  # as the end of a session would
            child.wait()
            subprocess.run(["scancel", *jobs()], check=True)
            wait_until(lambda: not jobs())
        self.assertEqual(self.ends(self.start()), "out: 7 recordings\n")
        self.assertEqual(files_in("out"), self.wanted)

    def test_what_slurm_refuses_is_told(self):
        self.assertRegex(self.ends(self.start("--sbatch=--partition=none"), 2), "sbatch: .*invalid partition")


def jobs():
    """Numbers of the jobs that wait or run."""
    said = subprocess.run(["squeue", "-h", "-o", "%F"], capture_output=True, text=True, check=True)  # of the array, not of its tasks
    return set(said.stdout.split())


def kill_task():
    """Kills the process that makes a shard and those that listen for it, as the node would that has no memory left. One of these that lived on for a while
    would read what is meant for the next task."""
    for process in Path("/proc").glob("[0-9]*"):
        try:
            words = (process / "cmdline").read_bytes().split(b"\0")
            children = [int(word) for task in (process / "task").iterdir() for word in (task / "children").read_text(encoding="ascii").split()]
        except OSError:
            continue
        if b"wvad.corpus.task" in words and os.fsencode(os.path.abspath("out")) in words:
            os.kill(int(process.name), signal.SIGKILL)
            for child in children:
                with suppress(ProcessLookupError):
                    os.kill(child, signal.SIGKILL)


if __name__ == "__main__":
    unittest.main()
