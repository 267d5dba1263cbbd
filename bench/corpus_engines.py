#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""corpus_engines.py PYTHON AUDIO: what `wvad corpus` costs on each of its engines, against the engine alone.

PYTHON has the package wvad; AUDIO is a recording, which is cut into --files pieces of --seconds. Prints the processor time (user and system, of all
processes that take part) for a recording, and how much more than one process of `-o` that is; the time on the wall; medians over --repeats rounds, in each
of which every engine has its turn, and the load of the machine meanwhile. `calls` is a loop over wvad.segment() in one process. --dask begins a scheduler
and a worker of its own; --slurm takes the cluster that sbatch reaches (SLURM_CONF). Wall times mean something on a machine that does nothing else."""
import argparse
import json
import os
import pathlib
import resource
import shutil
import statistics
import subprocess
import tempfile
import time

#: Python runs it in every process; a task of an engine leaves its times behind, those of its children too.
AT_EXIT = """
import atexit, os, sys
def leave():
    with open(f"{os.environ['CORPUS_TIMES']}/{os.getpid()}", "w") as file:
        file.write(str(sum(os.times()[:4])))
if "wvad.corpus.task" in getattr(sys, "orig_argv", ()):
    atexit.register(leave)
"""
CUT = """
import sys, wave, wvad
path, folder, count, seconds = sys.argv[1], sys.argv[2], int(sys.argv[3]), float(sys.argv[4])
samples, rate = wvad.audio.read(path)
samples = (samples[:, 0] * 32767).astype("<i2")
length = round(rate * seconds)
samples = samples.tolist() * (1 + length // len(samples)) if length > len(samples) else samples.tolist()
import array
for i in range(count):
    begin = i * 4801 % (len(samples) - length + 1)
    with wave.open(f"{folder}/{i:06}.wav", "wb") as file:
        file.setnchannels(1); file.setsampwidth(2); file.setframerate(rate)
        file.writeframes(array.array("h", samples[begin:begin + length]).tobytes())
"""
CALLS = """
import os, sys, wvad
for name in sorted(os.listdir(sys.argv[1])):
    for sentence in wvad.segment(os.path.join(sys.argv[1], name)):
        pass
"""


def cpu_of(pid):
    """Seconds of processor time of a process that runs, without its children."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Rounds:
    """The engines in turn, over one folder of recordings."""

    def __init__(self, given, folder):
        self.python, self.folder, self.given = given.python, folder, given
        self.beside = []  # processes that serve an engine
        (folder / "site").mkdir()
        (folder / "site/sitecustomize.py").write_text(AT_EXIT, encoding="utf-8")
        (folder / "times").mkdir()
        os.environ.update(PYTHONPATH=str(folder / "site"), CORPUS_TIMES=str(folder / "times"))
        (folder / "talks").mkdir()
        subprocess.run([self.python, "-c", CUT, given.audio, folder / "talks", str(given.files), str(given.seconds)], check=True)
        shards = ["--shards", folder / "out", "--shard-size", str(given.shard_size)]
        self.commands = {"calls": [self.python, "-c", CALLS, folder / "talks"]}
        for jobs in sorted({1, given.jobs}):
            self.commands[f"-o, -j {jobs}"] = self.command("-o", folder / "out.jsonl", "-j", str(jobs))
            self.commands[f"--shards, -j {jobs}"] = self.command(*shards, "-j", str(jobs))
        if given.dask:
            self.commands["--dask"] = self.command(*shards, "--dask", self.begin_dask())
        if given.slurm:
            self.commands["--slurm"] = self.command(*shards, "--slurm")

    def command(self, *arguments):
        return [self.python, "-m", "wvad", "corpus", self.folder / "talks", "-q", *arguments]

    def begin_dask(self):
        file = self.folder / "scheduler.json"
        for words in (["scheduler", "--scheduler-file", file, "--host", "127.0.0.1", "--port", "0"],
                      ["worker", "--scheduler-file", file, "--no-nanny", "--nthreads", str(self.given.jobs), "--local-directory", self.folder]):
            while words[0] == "worker" and not (file.exists() and file.read_bytes().endswith(b"}")):
                time.sleep(0.1)
            with open(self.folder / f"{words[0]}.log", "wb") as log:
                command = [self.python, "-m", f"distributed.cli.dask_{words[0]}", "--no-dashboard", *words[1:]]
                self.beside.append(subprocess.Popen(command, stdout=log, stderr=log))
        return json.loads(file.read_bytes())["address"]

    def run(self, name):
        """Processor time and time on the wall of a run, in seconds; both of what it adds to processes that serve it too."""
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        serving = sum(cpu_of(one.pid) for one in self.beside) if name == "--dask" else 0
        began = time.monotonic()
        subprocess.run(self.commands[name], check=True)
        wall = time.monotonic() - began
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        if name == "--dask":
            cpu += sum(cpu_of(one.pid) for one in self.beside) - serving
        for path in (self.folder / "times").iterdir():
            cpu += float(path.read_text(encoding="ascii"))
            path.unlink()
        shutil.rmtree(self.folder / "out", ignore_errors=True)
        (self.folder / "out.jsonl").unlink(missing_ok=True)
        return cpu, wall

    def end(self):
        for one in self.beside:
            one.terminate()
            one.wait()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("python")
    parser.add_argument("audio")
    parser.add_argument("--files", type=int, default=400)
    parser.add_argument("--seconds", type=float, default=10)
    parser.add_argument("--shard-size", type=int, default=100)
    parser.add_argument("--repeats", type=int, default=5)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--dask", action="store_true")
    parser.add_argument("--slurm", action="store_true")
    given = parser.parse_args()
    with tempfile.TemporaryDirectory() as scratch:
        rounds = Rounds(given, pathlib.Path(scratch))
        try:
            found = {name: [] for name in rounds.commands}
            loads = []
            for _ in range(given.repeats):
                for name in rounds.commands:
                    found[name].append(rounds.run(name))
                    loads.append(os.getloadavg()[0])
        finally:
            rounds.end()
    print(f"{given.files} recordings of {given.seconds:g} s, {given.shard_size} in a shard, {given.repeats} rounds; "
          f"load {min(loads):.1f} to {max(loads):.1f}\n")
    print("| engine | ms a recording | against one process | from | to | s on the wall | rate on the wall |\n|---|---|---|---|---|---|---|")
    base = found["-o, -j 1"]
    for name, values in found.items():
        ratios = sorted(one[0] / other[0] for one, other in zip(values, base))
        cpu, wall = (statistics.median(column) for column in zip(*values))
        faster = statistics.median(other[1] / one[1] for one, other in zip(values, base))
        print(f"| {name} | {1000 * cpu / given.files:.1f} | {statistics.median(ratios):.2f} | {ratios[0]:.2f} | {ratios[-1]:.2f} | {wall:.2f} | {faster:.2f} |")


if __name__ == "__main__":
    main()
