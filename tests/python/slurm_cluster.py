# SPDX-License-Identifier: Apache-2.0
"""A cluster of Slurm on this machine alone, for tests: its daemons with keys, sockets, ports and states in a folder of their own."""
import os
import shutil
import socket
import subprocess
from pathlib import Path

from corpus_support import ending_with_us, wait_until

CONFIGURATION = """
ClusterName=tests
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={port}
SlurmdPort={node_port}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CredType=cred/munge
SlurmUser=root
SlurmdUser=root
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SwitchType=switch/none
MpiDefault=none
ReturnToService=2
SchedulerParameters=sched_interval=1,batch_sched_delay=0
NodeName={host} NodeAddr=127.0.0.1 CPUs={cpus} State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
"""


def missing():
    """Why there can be none here; "" where there can."""
    programs = [name for name in ("munged", "slurmctld", "slurmd", "sbatch") if shutil.which(name) is None]
    if programs:
        return f"Slurm is missing ({', '.join(programs)}; Debian: slurm-wlm); scripts/test.sh --all installs it"
    return "" if os.geteuid() == 0 else "Slurm's daemon of a node needs root"


class Cluster:
    """Runs from begin() to end(); SLURM_CONF says to Slurm's commands where it is."""

    def __init__(self, folder):
        self._folder = Path(folder)
        self._daemons = []

    def begin(self):
        for name in ("state", "spool"):
            (self._folder / name).mkdir()
        key = self._folder / "munge.key"
        key.write_bytes(os.urandom(1024))
        key.chmod(0o400)
        port, node_port = free_ports(2)
        configuration = CONFIGURATION.format(host=socket.gethostname().split(".")[0], port=port, node_port=node_port, folder=self._folder, cpus=os.cpu_count())
        (self._folder / "slurm.conf").write_text(configuration, encoding="utf-8")
        os.environ["SLURM_CONF"] = str(self._folder / "slurm.conf")
        in_folder = [f"--{name}={self._folder}/munge.{ending}" for name, ending in
                     (("socket", "socket"), ("key-file", "key"), ("pid-file", "pid"), ("log-file", "log"), ("seed-file", "seed"))]
        self._daemon("munged", "--foreground", "--force", *in_folder)
        wait_until((self._folder / "munge.socket").exists)
        self._daemon("slurmctld", "-D", "-i")
        self._daemon("slurmd", "-D")
        wait_until(lambda: "idle" in subprocess.run(["sinfo", "-h", "-o", "%t"], capture_output=True, text=True, check=False).stdout)

    def _daemon(self, *command):
        with open(self._folder / f"{command[0]}.out", "wb") as log:
            self._daemons.append(subprocess.Popen(ending_with_us(command), stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL))

    def end(self):
        subprocess.run(["scancel", "--quiet", "--user=root"], check=False)
        wait_until(lambda: not subprocess.run(["squeue", "-h"], capture_output=True, text=True, check=False).stdout)
        for daemon in reversed(self._daemons):
            daemon.terminate()
            daemon.wait()
        del os.environ["SLURM_CONF"]


def free_ports(count):
    """Ports of this machine that nobody has."""
    sockets = [socket.socket() for _ in range(count)]
    try:
        for one in sockets:
            one.bind(("127.0.0.1", 0))
        return [one.getsockname()[1] for one in sockets]
    finally:
        for one in sockets:
            one.close()
