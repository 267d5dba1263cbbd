# SPDX-License-Identifier: Apache-2.0
"""wvad corpus --dask, on a scheduler and two workers of this machine: the bytes of one process; a worker that is killed loses nothing; an interrupt
leaves nothing behind."""
import importlib.util
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import types
import unittest
from pathlib import Path

from corpus_support import CorpusTest, Fifo, children, corpus, descendants, ending_with_us, files_in, runs, wait_until
from wvad.corpus import on_dask

MISSING = "" if importlib.util.find_spec("distributed") else "Dask's package distributed is missing (Debian: python3-distributed)"


@unittest.skipIf(MISSING, MISSING)
class OnACluster(CorpusTest):
    def setUp(self):
        super().setUp()
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.cluster = Path(scratch.name)
        self.scheduler = self.begin("scheduler", "--scheduler-file", self.cluster / "scheduler.json", "--host", "127.0.0.1", "--port", "0")
        wait_until(lambda: (self.cluster / "scheduler.json").exists())
        wait_until(lambda: "address" in read_json(self.cluster / "scheduler.json"))
        self.address = read_json(self.cluster / "scheduler.json")["address"]
        self.workers = [self.begin("worker", self.address, "--no-nanny", "--nthreads", "1", "--local-directory", self.cluster) for _ in range(2)]
        self.listed_talks(7)
        subprocess.run(corpus("-j", 1, "talks.txt", "--shards", "wanted", "--shard-size", 2, "-q"), check=True)
        self.wanted = files_in("wanted")
        # A command that begins before they are known says that there is none.
        wait_until(lambda: (self.cluster / "worker.log").read_text(encoding="utf-8").count("Registered to:") == len(self.workers))

    def begin(self, what, *arguments):
        log = open(self.cluster / f"{what}.log", "ab")
        self.addCleanup(log.close)
        child = subprocess.Popen(ending_with_us([sys.executable, "-m", f"distributed.cli.dask_{what}", "--no-dashboard", *arguments]), stdout=log,
                                 stderr=subprocess.STDOUT, cwd="/")
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        return child

    def start(self, *arguments):
        """The command in the background; its warnings are no errors, since Dask has some of its own."""
        words = [word for word in corpus("talks.txt", "--shards", "out", "--shard-size", 2, "--dask", self.address, *arguments) if word not in ("-W", "error")]
        child = subprocess.Popen(words, stderr=subprocess.PIPE, text=True)
        self.addCleanup(child.stderr.close)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        return child

    def test_the_results_are_those_of_one_process(self):
        child = self.start()
        words = child.communicate()[1]
        self.assertEqual((child.returncode, words), (0, "out: 7 recordings\n"))
        self.assertEqual(files_in("out"), self.wanted)
        self.assertFalse(Path("out/work").exists())

    def test_a_worker_that_is_killed_loses_nothing(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.start()
            pipe.wait_for_reader()
            wait_until(lambda: sum(bool(children(one.pid)) for one in self.workers) == 1, child)
            at_work = next(one for one in self.workers if children(one.pid))
            task = descendants(at_work.pid)
            at_work.kill()
            at_work.wait()
            wait_until(lambda: not any(map(runs, task)))
            pipe.drop_reader()
            pipe.wait_for_reader()  # the other worker's
            pipe.serve()
            words = child.communicate()[1]
        self.assertEqual((child.returncode, words), (0, "out: 7 recordings\n"))
        self.assertEqual(files_in("out"), self.wanted)

    def test_an_interrupt_ends_the_tasks_and_leaves_the_workers(self):
        for number, begin in ((signal.SIGINT, "\n"), (signal.SIGTERM, "")):
            with Fifo("talks/deep/03.wav") as pipe:
                child = self.start()
                pipe.wait_for_reader()
                tasks = [one for worker in self.workers for one in descendants(worker.pid)]
                self.assertNotEqual(tasks, [])
                child.send_signal(number)
                words = child.communicate()[1]
                self.assertEqual((child.returncode, words), (130, f"{begin}wvad corpus: interrupted; the same command goes on from here\n"))
                wait_until(lambda: not any(map(runs, tasks)))
        self.assertEqual([one.poll() for one in self.workers], [None, None])
        child = self.start()
        self.assertEqual((child.wait(), files_in("out")), (0, self.wanted))

    def test_a_command_that_is_killed_leaves_shards_that_the_next_one_takes(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.start()
            pipe.wait_for_reader()
            child.kill()
            child.wait()
            child = self.start()
            wait_until(lambda: all(Path(f"out/shard-0000{i}.jsonl").exists() for i in (0, 1, 3)), child)
            pipe.serve()  # to the task of the first command; that of the second waits for what comes of it
            words = child.communicate()[1]
        self.assertEqual((child.returncode, words), (0, "out: 7 recordings\n"))
        self.assertEqual(files_in("out"), self.wanted)

    def test_a_scheduler_that_goes_is_told_and_the_same_command_goes_on(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.start()
            pipe.wait_for_reader()
            tasks = [one for worker in self.workers for one in descendants(worker.pid)]
            self.scheduler.kill()
            words = child.communicate()[1]
            self.assertEqual(child.returncode, 2, words)
            self.assertRegex(words, r"\Awvad corpus: tcp://.*: the Dask scheduler was lost .*; the same command goes on with the shards that are missing\n\Z")
            for worker in self.workers:
                tasks += descendants(worker.pid)
                worker.kill()
                worker.wait()
            wait_until(lambda: not any(map(runs, tasks)))  # the pipe that ends would be a recording that is cut
        subprocess.run(corpus("-j", 1, "talks.txt", "--shards", "out", "--shard-size", 2, "-q"), check=True)
        self.assertEqual(files_in("out"), self.wanted)

    def test_workers_that_are_all_gone_are_told_and_a_new_one_goes_on(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.start()
            pipe.wait_for_reader()
            tasks = [one for worker in self.workers for one in descendants(worker.pid)]
            for worker in self.workers:
                worker.kill()
                worker.wait()
            wait_until(lambda: not any(map(runs, tasks)))  # the pipe that ends would be a recording that is cut
            self.assertEqual(child.stderr.readline(), "wvad corpus: there is no Dask worker; waiting for one\n")
            pipe.drop_reader()
            self.workers = [self.begin("worker", self.address, "--no-nanny", "--nthreads", "1", "--local-directory", self.cluster)]
            pipe.wait_for_reader()
            pipe.serve()
            words = child.communicate()[1]
        self.assertEqual((child.returncode, words), (0, "wvad corpus: there is a Dask worker; going on\nout: 7 recordings\n"))
        self.assertEqual(files_in("out"), self.wanted)

    def test_a_shard_that_cannot_be_made_is_told_and_the_others_are_made(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.start()
            pipe.wait_for_reader()
            child.send_signal(signal.SIGINT)
            child.wait()
        shutil.move("out/work/00002.list", "list")
        child = self.start()
        words = child.communicate()[1]
        self.assertEqual(child.returncode, 2)
        self.assertRegex(words, "1 of . shards could not be made; the same command tries again. Shard 2: .*00002.list")
        shutil.move("list", "out/work/00002.list")
        child = self.start()
        self.assertEqual((child.wait(), files_in("out")), (0, self.wanted))


class WithoutWorkers(unittest.TestCase):
    """Which are looked for each second: what happens in between is told as well."""

    def test_a_worker_that_comes_and_makes_the_last_shard_between_two_looks_is_told(self):
        bar = Told()
        with on_dask._told_of_workers(Cluster(workers={}), bar):
            bar.told.wait()
        self.assertEqual(bar.words, ["there is no Dask worker; waiting for one", "there is a Dask worker; going on"])

    def test_a_run_that_ends_without_a_worker_is_not_told_that_it_goes_on(self):
        bar = Told()
        with self.assertRaises(KeyboardInterrupt), on_dask._told_of_workers(Cluster(workers={}), bar):
            bar.told.wait()
            raise KeyboardInterrupt
        self.assertEqual(bar.words, ["there is no Dask worker; waiting for one"])

    def test_where_there_are_workers_all_the_time_nothing_is_told(self):
        bar = Told()
        with on_dask._told_of_workers(Cluster(workers={"tcp://127.0.0.1:1": {}}), bar):
            pass
        self.assertEqual(bar.words, [])


class WhileTasksAreHandedIn(unittest.TestCase):
    def test_an_interrupt_ends_those_that_are_there(self):
        scheduler = Scheduler(interrupted_at=2)
        shards = [types.SimpleNamespace(plan=types.SimpleNamespace(folder="out"), number=number) for number in range(5)]
        with self.assertRaises(KeyboardInterrupt):
            on_dask._make(None, scheduler, shards, Told())
        self.assertEqual(scheduler.cancelled, ["task of shard 0", "task of shard 1"])
        self.assertEqual(scheduler.ended, {run_id for _, run_id in scheduler.tasks})


class Scheduler:
    """As a client of one: takes tasks until it is interrupted."""

    def __init__(self, interrupted_at):
        self._interrupted_at = interrupted_at
        self.tasks, self.cancelled, self.ended = [], [], set()

    def submit(self, work, folder, number, run_id, **_):
        if number == self._interrupted_at:
            raise KeyboardInterrupt
        self.tasks.append((number, run_id))
        return f"task of shard {number}"

    def cancel(self, tasks, force):
        self.cancelled += tasks

    def run(self, work, run_id):
        if work is on_dask.end:
            self.ended.add(run_id)


class Cluster:
    def __init__(self, workers):
        self._workers = workers

    def scheduler_info(self):
        return {"workers": self._workers}


class Told:
    def __init__(self):
        self.words = []
        self.told = threading.Event()

    def say(self, words):
        self.words.append(words)
        self.told.set()


@unittest.skipIf(MISSING, MISSING)
class WithoutACluster(CorpusTest):
    def test_what_is_no_scheduler_is_told_and_the_command_ends(self):
        self.talks(1)
        for name, text in (("empty.json", ""), ("none.json", "{}"), ("cut.json", '{"address": "tcp'), ("other.json", '{"address": 3}')):
            Path(name).write_text(text, encoding="utf-8")
        for address, words in (("gone.json", "--dask gone.json: is no address .tcp://HOST:PORT., and no scheduler's file: No such file"),
                               ("nonsense", "--dask nonsense: is no address"), ("", "--dask: expected an address"),
                               *((name, f"--dask {name}: is no whole scheduler's file") for name in ("empty.json", "none.json", "cut.json", "other.json")),
                               ("tcp://127.0.0.1:1", "tcp://127.0.0.1:1: no Dask scheduler answers")):
            with self.subTest(address):
                said = subprocess.run([word for word in corpus("talks", "--shards", "out", "--dask", address) if word not in ("-W", "error")],
                                      stderr=subprocess.PIPE, text=True, check=False, env={**os.environ, "DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT": "1s"})
                self.assertEqual((said.returncode, said.stderr.count("\n")), (2, 1), said.stderr)
                self.assertRegex(said.stderr, words)


def read_json(path):
    try:
        return json.loads(path.read_bytes())
    except ValueError:  # not whole yet
        return {}


if __name__ == "__main__":
    unittest.main()
