# SPDX-License-Identifier: Apache-2.0
"""What `wvad corpus` says while it works: a bar on a terminal, nothing but the last line elsewhere."""
import contextlib
import fcntl
import io
import os
import pty
import struct
import subprocess
import termios
import unittest
from pathlib import Path
from unittest import mock

from corpus_support import CorpusTest, corpus
from wvad.corpus import bar


class Terminal(io.StringIO):
    def isatty(self):
        return True


class OnATerminal(CorpusTest):
    def said(self, *arguments, columns=80):
        """All that the command writes to a terminal as its standard error."""
        ours, its = pty.openpty()
        fcntl.ioctl(its, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
        child = subprocess.Popen(corpus("-j", "1", *arguments, "-o", "out.jsonl"), stdout=subprocess.DEVNULL, stderr=its)
        os.close(its)
        parts = []
        with contextlib.suppress(OSError):  # that is how the other side's end is told
            while True:
                parts.append(os.read(ours, 4096))
        os.close(ours)
        child.wait()
        return b"".join(parts).decode()

    def setUp(self):
        super().setUp()
        self.talks(3)
        Path("talks/03.wav").write_text("no sound", encoding="utf-8")

    def test_there_is_a_bar_that_leaves_no_trace(self):
        words = self.said("talks")
        pictures = words.split("\r\x1b[K")
        self.assertEqual(pictures[:2], ["", f"[{'-' * 30}] 0/4"])
        self.assertEqual(pictures[-2], f"[{'#' * 30}] 4/4, 0:00 left, 1 with errors")
        self.assertEqual(pictures[-1], "out.jsonl: 4 recordings, 1 of them with an error\r\n")

    def test_a_run_that_goes_on_begins_where_it_stands(self):
        self.said("talks")
        lines = Path("out.jsonl").read_bytes().splitlines(keepends=True)
        os.remove("out.jsonl")
        Path("out.jsonl.part").write_bytes(b"".join(lines[:3]))
        self.assertIn(f"\r\x1b[K[{'#' * 15}{'-' * 15}] 2/4\r", self.said("talks"))

    def test_on_a_narrow_terminal_the_bar_is_short_and_then_gone(self):
        last = "4/4, 0:00 left, 1 with errors"  # 29 characters
        for columns, shown in ((63, f"[{'#' * 30}] {last}"), (62, f"[{'#' * 29}] {last}"), (39, f"[{'#' * 6}] {last}"), (38, last), (30, last), (9, last[:8])):
            self.assertEqual(self.said("talks", columns=columns).split("\r\x1b[K")[-2], shown, columns)
            os.remove("out.jsonl")

    def test_quiet_is_quiet(self):
        self.assertEqual(self.said("talks", "-q"), "")

    def test_elsewhere_there_is_one_plain_line(self):
        self.assertEqual(self.command("talks", code=1), "out.jsonl: 4 recordings, 1 of them with an error\n")


class TheBar(unittest.TestCase):
    def test_a_note_has_a_line_of_its_own(self):
        for kind, shown in ((Terminal, f"\r\x1b[K[{'-' * 30}] 0/3\r\x1b[Kwvad corpus: waiting\n\r\x1b[K[{'-' * 30}] 0/3"), (io.StringIO, "wvad corpus: waiting\n")):
            with mock.patch("sys.stderr", kind()) as written:
                bar.Bar(3, 0, 0, False).say("waiting")
                self.assertEqual(written.getvalue(), shown)
                bar.Bar(3, 0, 0, True).say("waiting")
                self.assertEqual(written.getvalue(), shown)

    def shown(self, *steps, total=7200):
        """What a bar over `total` recordings shows; steps are (seconds since its begin, recordings done, bad)."""
        terminal = Terminal()
        with mock.patch("sys.stderr", terminal), mock.patch("time.monotonic", side_effect=[0.0, *(at for at, _, _ in steps)]):
            one = bar.Bar(total, 0, 0, False)
            for _, done, bad in steps:
                one.reach(done, bad)
        return terminal.getvalue().split("\r\x1b[K")[2:]

    def test_the_time_left_follows_from_the_time_taken(self):
        self.assertEqual(self.shown((60, 3600, 0)), [f"[{'#' * 15}{'-' * 15}] 3600/7200, 1:00 left"])
        self.assertEqual(self.shown((61.5, 120, 2)), [f"[{'-' * 30}] 120/7200, 1:00:28 left, 2 with errors"])  # 61.5 / 120 * 7080 = 3628.5

    def test_it_is_not_drawn_more_often_than_is_seen_but_at_the_end(self):
        self.assertEqual(len(self.shown(*((i / 1000, i, 0) for i in range(1, 1001)), total=1000)), 10)  # 0.1, 0.2, ... 1.0 s
        self.assertRegex(self.shown((0.001, 7199, 0), (0.002, 7200, 0))[-1], "7200/7200")

    def test_a_run_without_anything_left_shows_no_time(self):
        terminal = Terminal()
        with mock.patch("sys.stderr", terminal):
            bar.Bar(3, 3, 0, False).clear()
        self.assertEqual(terminal.getvalue(), f"\r\x1b[K[{'#' * 30}] 3/3\r\x1b[K")


if __name__ == "__main__":
    unittest.main()
