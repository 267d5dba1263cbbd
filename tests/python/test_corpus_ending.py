# SPDX-License-Identifier: Apache-2.0
"""What ends a run of `wvad corpus` from outside, TERM and HUP: one sentence and the exit code of an interrupt, no process and no warning left, and the
same command goes on. A terminal that is gone ends no run by itself."""
import fcntl
import io
import os
import pty
import signal
import subprocess
import sys
import termios
import unittest
from pathlib import Path
from unittest import mock

from corpus_support import CorpusTest, Fifo, corpus, descendants, runs, wait_until
from wvad.corpus import bar, command, ending, plan

WORDS = "wvad corpus: interrupted; the same command goes on from here\n"


class FromOutside(CorpusTest):
    def setUp(self):
        super().setUp()
        self.listed_talks(5)
        self.command("talks.txt", output="whole.jsonl")
        self.whole = Path("whole.jsonl").read_bytes()

    def begin(self, *arguments, words=("talks.txt", "-o", "out.jsonl", "-j", 2), **how):
        """The command, or other `words`, in the background and in a group of its own."""
        child = subprocess.Popen(corpus(*words, *arguments) if words[0] != sys.executable else words, text=True, start_new_session=True,
                                 **{"stderr": subprocess.PIPE, **how})
        for undo in (child.kill, child.wait, *([child.stderr.close] if child.stderr else [])):
            self.addCleanup(undo)
        return child

    def ends(self, child, send, words=WORDS):
        """Waits until the command listens to a recording that never comes, and sends what ends it."""
        with Fifo("talks/deep/03.wav") as pipe:
            pipe.wait_for_reader()
            others = descendants(child.pid)
            send(child.pid)
            said = child.communicate()[1]
            wait_until(lambda: not any(map(runs, others)))
        self.assertEqual((child.returncode, said), (130, words))

    def goes_on(self):
        self.assertFalse(Path("out.jsonl").exists())
        self.command("talks.txt")
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)
        Path("out.jsonl").unlink()

    def test_a_request_to_end_is_an_interrupt(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            for send in (os.kill, os.killpg):
                with self.subTest(f"{number} {send.__name__}"), Fifo("talks/00.wav") as first:
                    child = self.begin()
                    first.wait_for_reader()
                    first.serve()
                    wait_until(lambda: Path("out.jsonl.part").exists(), child)
                    self.ends(child, lambda pid: send(pid, number))
                self.goes_on()

    def test_further_ones_are_passed_over(self):
        """timeout(1) sends it to the process, and then to its group."""
        child = self.begin()

        def send(pid):
            while runs(pid):
                os.killpg(pid, signal.SIGTERM)

        self.ends(child, send)
        self.goes_on()

    def test_who_wants_it_to_outlive_the_terminal_has_it_so(self):
        with Fifo("talks/deep/03.wav") as pipe:
            child = self.begin(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
            pipe.wait_for_reader()
            os.kill(child.pid, signal.SIGHUP)
            pipe.serve()
            self.assertEqual((child.communicate()[1], child.returncode), ("out.jsonl: 5 recordings\n", 0))
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)

    def on_a_terminal(self, hangup):
        """The command on a terminal of its own, which is closed while it listens; `hangup`: what it does at that. Gives its exit code."""
        ours, its = pty.openpty()

        def take_terminal():
            fcntl.ioctl(its, termios.TIOCSCTTY, 0)
            signal.signal(signal.SIGHUP, hangup)

        child = self.begin(preexec_fn=take_terminal, stderr=its)
        os.close(its)
        with Fifo("talks/deep/03.wav") as pipe:
            pipe.wait_for_reader()
            os.close(ours)
            if hangup is signal.SIG_IGN:
                pipe.serve()
            return child.wait()

    def test_a_terminal_that_is_closed_interrupts_it_and_one_that_does_not_matter_does_nothing(self):
        self.assertEqual(self.on_a_terminal(signal.SIG_DFL), 130)
        self.goes_on()
        self.assertNotEqual(self.on_a_terminal(signal.SIG_IGN), 130)
        self.assertEqual(Path("out.jsonl").read_bytes(), self.whole)

    def test_a_task_of_an_engine_ends_as_cleanly(self):
        arguments = plan.Given({"wvad": command.__version__, "model": None, "model_sha256": None}, {}, "jsonl", 5, [])
        Path("out/work").mkdir(parents=True)
        entries = command.inputs.entries(["talks.txt"], {})
        plan.begin(Path("out").absolute(), arguments, entries)
        child = self.begin(words=[sys.executable, "-W", "error", "-m", "wvad.corpus.task", "out", "0"])
        self.ends(child, lambda pid: os.killpg(pid, signal.SIGTERM), f"wvad corpus, on {os.uname().nodename}: interrupted\n")


class Signals(unittest.TestCase):
    def test_are_held_off_where_something_is_put_in_order(self):
        with ending.as_interrupts():
            handlers = [signal.getsignal(one) for one in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT)]
            with ending.held_off():
                for one in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
                    os.kill(os.getpid(), one)
            self.assertEqual([signal.getsignal(one) for one in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT)], handlers)
        self.assertEqual(signal.getsignal(signal.SIGTERM), signal.SIG_DFL)
        self.assertFalse(ending.asked())

    def test_of_somebody_else_stay_as_they_are(self):
        before = signal.signal(signal.SIGTERM, lambda *_: None)
        self.addCleanup(signal.signal, signal.SIGTERM, before)
        mine = signal.getsignal(signal.SIGTERM)
        with ending.as_interrupts():
            self.assertIs(signal.getsignal(signal.SIGTERM), mine)
        self.assertIs(signal.getsignal(signal.SIGTERM), mine)


class Gone(io.StringIO):
    """A terminal that is gone."""

    def isatty(self):
        return True

    def write(self, _):
        raise OSError(5, "Input/output error")


class NobodyReads(CorpusTest):
    def test_words_that_nobody_reads_end_nothing(self):
        self.talks(1)
        with mock.patch("sys.stderr", Gone()):
            one = bar.Bar(3, 0, 0, False)
            one.say("waiting")
            one.step(3, 0)
            one.clear()
            arguments = ["talks", "-o", "out.jsonl", "-j", "1", "--model", os.environ["WVAD_TEST_MODEL"]]
            self.assertEqual(command.main(arguments), 0)
            self.assertEqual(command.main(arguments), 2)  # it is there


if __name__ == "__main__":
    unittest.main()
