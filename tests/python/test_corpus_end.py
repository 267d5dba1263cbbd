# SPDX-License-Identifier: Apache-2.0
"""Any end of a run of `wvad corpus`, at any moment: the same command does what is missing, and the result is the same to the byte."""
import json
import os
import signal
import subprocess
import sys
import unittest
from pathlib import Path
from unittest import mock

from corpus_support import CorpusTest, corpus, wait_until
from wvad.corpus import command, part, row

WATCHED = {module.__file__ for module in (command, part)}


def rows_here(entries, options, jobs):
    """In place of the processes: rows that tell which recording they are of."""
    for one in entries:
        rows_here.made += 1
        yield row.as_line({"file": one.name, "n": len(one.name), **({"error": "bad"} if "03" in one.name else {})})


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


class InOneProcess(CorpusTest):
    """Where the run stands is what its files are: a fork that is killed leaves them as a run does."""

    arguments = ["list.txt", "-o", "out.jsonl", "-q"]

    def setUp(self):
        super().setUp()
        Path("list.txt").write_text("".join(f"{i:02}.wav\n" for i in range(5)), encoding="utf-8")
        patched = mock.patch.object(command, "lines_at_once", rows_here)
        patched.start()
        self.addCleanup(patched.stop)
        rows_here.made = 0
        self.assertEqual(command.main(self.arguments), 1)
        self.whole = Path("out.jsonl").read_bytes()
        self.assertEqual(self.whole.count(b"\n"), 6)
        Path("out.jsonl").unlink()

    def goes_on(self):
        """Runs it to its end, and expects that it makes the missing rows alone."""
        there = Path("out.jsonl.part").read_bytes().count(b"\n") - 1 if Path("out.jsonl.part").exists() else 0
        rows_here.made = 0
        self.assertEqual(command.main(self.arguments), 1)
        self.assertEqual((Path("out.jsonl").read_bytes(), rows_here.made), (self.whole, 5 - max(there, 0)))
        self.assertEqual(sorted(os.listdir()), ["list.txt", "out.jsonl"])
        Path("out.jsonl").unlink()

    def test_a_kill_at_every_line_loses_nothing(self):
        line = 1
        while killed_at(line, self.arguments):
            if Path("out.jsonl").exists():
                self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)
                Path("out.jsonl").unlink()
            else:
                self.goes_on()
            line += 1
        self.assertGreater(line, 100)

    def test_one_kill_after_the_other_still_comes_to_the_end(self):
        line = 1
        while killed_at(line, self.arguments) and not Path("out.jsonl").exists():
            line += 1
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)

    def test_a_file_broken_off_at_any_byte_goes_on(self):
        for length in range(len(self.whole) + 1):
            Path("out.jsonl.part").write_bytes(self.whole[:length])
            self.goes_on()


class Processes(CorpusTest):
    def setUp(self):
        super().setUp()
        self.talks(12)
        self.command("talks", output="whole.jsonl")
        self.whole = Path("whole.jsonl").read_bytes()

    def begin(self, jobs):
        child = subprocess.Popen(corpus("talks", "-o", "out.jsonl", "-j", jobs), stderr=subprocess.PIPE, text=True)
        self.addCleanup(child.stderr.close)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        return child

    def lines(self):
        return Path("out.jsonl.part").read_bytes().count(b"\n") if Path("out.jsonl.part").exists() else 0

    def test_a_parent_that_is_killed_takes_its_processes_along_and_the_run_goes_on(self):
        for wanted in (0, 1, 4, 8):  # whole lines in the output
            child = self.begin(2)
            wait_until(lambda: self.lines() >= wanted, child)
            if wanted > 0:
                wait_until(lambda: children(child.pid), child)
            others = children(child.pid)
            child.kill()
            child.wait()
            wait_until(lambda: not any(map(runs, others)))
            self.assertFalse(Path("out.jsonl").exists())
            if self.lines():
                part_now = Path("out.jsonl.part").read_bytes()
                self.assertTrue(self.whole.startswith(part_now))
        self.command("talks", "-j", 2)
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)

    def test_an_interrupt_ends_it_and_it_goes_on(self):
        child = self.begin(2)
        wait_until(lambda: self.lines() >= 3, child)
        others = children(child.pid)
        child.send_signal(signal.SIGINT)
        words = child.communicate()[1]
        self.assertEqual(child.returncode, 130, words)
        self.assertEqual(words, "\nwvad corpus: interrupted; the same command goes on from here\n")
        wait_until(lambda: not any(map(runs, others)))
        self.command("talks")
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)

    def test_rows_that_are_there_are_not_made_again(self):
        lines = self.whole.splitlines(keepends=True)
        lines[1] = lines[1].replace(b'"note": ""', b'"note": "mine"')
        Path("out.jsonl.part").write_bytes(b"".join(lines[:2]))
        self.command("talks")
        self.assertEqual(Path("out.jsonl").read_bytes(), b"".join(lines))
        self.assertEqual(json.loads(lines[1])["note"], "mine")


def children(pid):
    """Processes that `pid` has begun."""
    try:
        return Path(f"/proc/{pid}/task/{pid}/children").read_text(encoding="ascii").split()
    except OSError:
        return []


def runs(pid):
    """Whether a process is there and not dead already."""
    try:
        return Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] not in "ZX"
    except OSError:
        return False


if __name__ == "__main__":
    unittest.main()
