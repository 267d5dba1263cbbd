# SPDX-License-Identifier: Apache-2.0
"""Any end of a run of `wvad corpus`, at any moment: the same command does what is missing, and the result is the same to the byte."""
import json
import os
import shutil
import signal
import subprocess
import sys
import unittest
from pathlib import Path
from unittest import mock

from corpus_support import CorpusTest, Fifo, corpus, descendants, runs, wait_until
from wvad.corpus import columns, command, folder, local, part, plan, row

MADE = {"rows": 0}
LAST = "talks/deep/11.wav"  # of 12 talks; while it is a pipe that nobody fills no run comes to its end by itself
WATCHED = {module.__file__ for module in (columns, command, folder, local, part, plan)}


def rows_here(entries, options, jobs):
    """In place of the processes: rows that tell which recording they are of."""
    for one in entries:
        MADE["rows"] += 1
        yield row.as_line({"file": one.name, "duration": 0.1, "sentences": [], **({"error": "bad"} if "03" in one.name else {})})


def killed_at(line, arguments):
    """Runs the command in a child that is killed before it executes its `line`th line of what writes the output. Gives whether it was."""
    child = os.fork()
    if child == 0:
        left = [line]

        def trace(frame, event, _):
            if frame.f_code.co_filename not in WATCHED:
                return None
            if event == "line":
                left[0] -= 1
                if left[0] == 0:
                    os.kill(os.getpid(), signal.SIGKILL)
            return trace

        sys.settrace(trace)
        command.main(arguments)
        os._exit(0)
    return os.WIFSIGNALED(os.waitpid(child, 0)[1])


class IntoAFile(CorpusTest):
    """Where the run stands is what its files are: a fork that is killed leaves them as a run does."""

    arguments = ["list.txt", "-o", "out", "-q"]
    step = 4  # of the lines at which it is killed

    def setUp(self):
        super().setUp()
        Path("list.txt").write_text("".join(f"{i:02}.wav\n" for i in range(5)), encoding="utf-8")
        for patched in (mock.patch.object(local, "lines_at_once", rows_here), mock.patch("os.fsync")):  # a kill leaves what was written, synced or not
            patched.start()
            self.addCleanup(patched.stop)
        self.assertEqual(command.main(self.arguments), 1)
        self.whole = self.result()
        self.clear()

    def result(self):
        """The bytes that a run leaves, or None where it is not whole."""
        return Path("out").read_bytes() if Path("out").exists() else None

    def clear(self):
        Path("out").unlink()

    def rows_there(self):
        return Path("out.part").read_bytes().count(b"\n") - 1 if Path("out.part").exists() else 0

    def goes_on(self):
        """Runs it to its end, and expects that it makes the missing rows alone."""
        there = max(self.rows_there(), 0)
        MADE["rows"] = 0
        self.assertEqual(command.main(self.arguments), 1)
        self.assertEqual((self.result(), MADE["rows"]), (self.whole, 5 - there))
        self.assertEqual(sorted(os.listdir()), ["list.txt", "out"])
        self.clear()

    def test_a_kill_at_any_line_loses_nothing(self):
        line = 1
        while killed_at(line, self.arguments):
            if self.result() is None:
                self.goes_on()
            else:
                self.assertEqual(self.result(), self.whole)
                self.clear()
            line += self.step
        self.assertGreater(line, 50)

    def test_one_kill_after_the_other_still_comes_to_the_end(self):
        line = 1
        while killed_at(line, self.arguments) and self.result() is None:
            line += self.step
        self.assertEqual(self.result(), self.whole)


class BrokenOff(IntoAFile):
    test_a_kill_at_any_line_loses_nothing = test_one_kill_after_the_other_still_comes_to_the_end = None

    def test_a_file_broken_off_anywhere_goes_on(self):
        ends = [place for place, byte in enumerate(self.whole, 1) if byte == ord("\n")]
        near = {end + off for end in ends for off in (-2, -1, 0, 1, 2)}  # where a row is whole, or just not
        for length in sorted({length for length in near if length <= len(self.whole)} | set(range(0, len(self.whole), 97))):
            Path("out.part").write_bytes(self.whole[:length])
            self.goes_on()


class IntoShards(IntoAFile):
    arguments = ["list.txt", "--shards", "out", "--shard-size", "2", "-q"]
    step = 17

    def result(self):
        if not Path("out/manifest.json").exists():
            return None
        return {path.name: path.read_bytes() for path in Path("out").iterdir() if path.name != "work"}

    def clear(self):
        shutil.rmtree("out")

    def rows_there(self):
        count = 0
        for number, rows in enumerate((2, 2, 1)):
            part_file, facts = Path(f"out/work/{number:05}.part"), Path(f"out/work/{number:05}.json")
            if facts.exists() and list(Path("out").glob(f"shard-{number:05}.*")):
                count += rows
            elif part_file.exists():
                count += part_file.read_bytes().count(b"\n")
        return count


class IntoColumns(IntoShards):
    arguments = [*IntoShards.arguments, "--columns"]
    step = 37


class Processes(CorpusTest):
    def setUp(self):
        super().setUp()
        self.listed_talks(12)
        self.command("talks.txt", output="whole.jsonl")
        self.whole = Path("whole.jsonl").read_bytes()

    def begin(self, jobs):
        child = subprocess.Popen(corpus("talks.txt", "-o", "out.jsonl", "-j", jobs), stderr=subprocess.PIPE, text=True)
        self.addCleanup(child.stderr.close)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        return child

    def lines(self):
        return Path("out.jsonl.part").read_bytes().count(b"\n") if Path("out.jsonl.part").exists() else 0

    def test_a_parent_that_is_killed_takes_its_processes_along_and_the_run_goes_on(self):
        with Fifo(LAST):
            for wanted in (0, 1, 4, 8):  # whole lines in the output
                child = self.begin(2)
                wait_until(lambda: self.lines() >= wanted, child)
                if wanted > 0:
                    wait_until(lambda: descendants(child.pid), child)
                others = descendants(child.pid)
                child.kill()
                child.wait()
                wait_until(lambda: not any(map(runs, others)))
                self.assertFalse(Path("out.jsonl").exists())
                if self.lines():
                    part_now = Path("out.jsonl.part").read_bytes()
                    self.assertTrue(self.whole.startswith(part_now))
        self.command("talks.txt", "-j", 2)
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)

    def test_an_interrupt_ends_it_and_it_goes_on(self):
        with Fifo(LAST):
            child = self.begin(2)
            wait_until(lambda: self.lines() >= 3, child)
            others = descendants(child.pid)
            child.send_signal(signal.SIGINT)
            words = child.communicate()[1]
            self.assertEqual(child.returncode, 130, words)
            self.assertEqual(words, "\nwvad corpus: interrupted; the same command goes on from here\n")
            wait_until(lambda: not any(map(runs, others)))
        self.command("talks.txt")
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)

    def test_rows_that_are_there_are_not_made_again(self):
        lines = self.whole.splitlines(keepends=True)
        lines[1] = lines[1].replace(b'"note": ""', b'"note": "mine"')
        Path("out.jsonl.part").write_bytes(b"".join(lines[:2]))
        self.command("talks.txt")
        self.assertEqual(Path("out.jsonl").read_bytes(), b"".join(lines))
        self.assertEqual(json.loads(lines[1])["note"], "mine")


if __name__ == "__main__":
    unittest.main()
