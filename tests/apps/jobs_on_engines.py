"""Does jobs on the engines of docs/scale.md, by its own commands, and kills some of what works on them: the joined clip must be what one
process makes of it.

usage: jobs_on_engines.py BUILD_FOLDER dask|parallel|slurm, with the Python that has Dask; ends with 77 (skipped) where the engine is missing
"""
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv[1]).resolve()
UNITS = 12
PATIENCE_S = 120
environment = dict(os.environ, PYTHONPATH=str(SOURCE / "python"),
                   PATH=f"{BUILD}:{pathlib.Path(sys.executable).parent}:/usr/sbin:{os.environ['PATH']}")


def output_of(command, folder, status=0, **settings):
    run = subprocess.run(command, cwd=folder, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                         timeout=PATIENCE_S, check=False, **settings)
    assert run.returncode == status, f"status {run.returncode}, expected {status}, of: {command}\n{run.stdout}"
    return run.stdout


def wait_for(what, condition):
    end_s = time.monotonic() + PATIENCE_S
    while time.monotonic() < end_s:
        found = condition()
        if found:
            return found
        time.sleep(0.02)
    raise AssertionError(f"nothing came of: {what}")


def start(command, folder):
    return subprocess.Popen(command, cwd=folder, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            shell=isinstance(command, str), executable="/bin/bash" if isinstance(command, str) else None,
                            start_new_session=True)


def documented(heading):
    """The lines of the block below a heading of docs/scale.md."""
    page = (SOURCE / "docs/scale.md").read_text(encoding="utf-8")
    block = re.search(rf"^## {heading}$.*?^```sh\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)[1]
    return [re.sub(r"\s+# .*", "", line) for line in block.splitlines()]


def contents(clip):
    """Of a clip: each frame's time and sum, and the sum of the sound's packets."""
    frames = output_of(["ffmpeg", "-v", "error", "-i", clip, "-map", "0:v", "-f", "framemd5", "-"], "/")
    return frames, output_of(["ffmpeg", "-v", "error", "-i", clip, "-map", "0:a", "-c", "copy", "-f", "md5", "-"], "/")


class Job:
    """The job `work` in a folder of its own, as the commands of the page have it."""

    def __init__(self, parent, name):
        self.folder = parent / name
        self.folder.mkdir()
        shutil.copy(parent / "clip.mp4", self.folder)
        (self.folder / "examples").symlink_to(SOURCE / "examples")
        output_of(["vorin-stylize", "job", "plan", "clip.mp4", "-o", "restyled.mp4", "--style", "pencil", "--job", "work", "--unit-length", "1"],
                  self.folder)

    def done(self):
        return len(list((self.folder / "work/units").glob("*.ok")))

    def busy(self):
        """The process that works on a unit, if there is one."""
        names = [entry.name for entry in (self.folder / "work/units").glob("*.part")]
        return int(names[0].split(".")[-2]) if names else None

    def wait_until_done(self, units):
        wait_for(f"{units} units done", lambda: self.done() >= units)
        assert self.done() < UNITS, "all was done before anything could be killed"

    def joined(self):
        """The contents of the result, once the folder of units holds what it should."""
        output_of(["vorin-stylize", "job", "join", "work"], self.folder)
        state = json.loads(output_of(["vorin-stylize", "job", "status", "work", "--json"], self.folder))
        names = {f"{unit['id']}.{kind}" for unit in state["units"] for kind in ("nut", "ok")}
        assert len(names) == 2 * UNITS, f"{len(names) / 2} units"
        left = {entry.name for entry in (self.folder / "work/units").iterdir()}
        assert left == names, f"in the folder of units: {sorted(left ^ names)}"
        return contents(self.folder / "restyled.mp4")


def kill(process_id):
    try:
        os.kill(process_id, signal.SIGKILL)
    except ProcessLookupError:
        pass


def parent_of(process_id):
    return int(pathlib.Path(f"/proc/{process_id}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[1])


def killed_local_dask(parent):
    """Ctrl-C, then the same command again, one of whose workers is killed with its program."""
    job = Job(parent, "local_dask")
    command = next(line for line in documented("Dask") if "--local" in line)
    run = start("exec " + command, job.folder)
    job.wait_until_done(2)
    os.killpg(run.pid, signal.SIGINT)
    said = run.communicate(timeout=PATIENCE_S)[0]
    assert run.returncode == 130, f"status {run.returncode} after Ctrl-C: {said}"
    wait_for("the programs' end", lambda: job.busy() is None)
    before = job.done()
    run = start("exec " + command, job.folder)
    job.wait_until_done(before + 1)
    program = wait_for("a unit at work", job.busy)
    kill(parent_of(program))
    kill(program)
    assert job.done() < UNITS
    said = run.communicate(timeout=PATIENCE_S)[0]
    assert run.returncode == 0 and f"{UNITS} of {UNITS} units, 300 of 300 frames" in said, f"status {run.returncode}: {said}"
    return job.joined()


def killed_scheduler(parent):
    """A scheduler and its workers, as on several machines; the scheduler is killed, and all is started again."""
    job = Job(parent, "scheduler")
    for attempt in range(2):
        file = job.folder / f"scheduler-{attempt}.json"
        scheduler = start(["dask", "scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard", "--scheduler-file", file], job.folder)
        workers = start(["dask", "worker", "--scheduler-file", file, "--nworkers", "2", "--nthreads", "1", "--no-dashboard"], job.folder)
        try:
            address = wait_for("a scheduler", lambda: file.exists() and re.search(r"tcp://[\d.:]+", file.read_text(encoding="utf-8")))[0]
            run = start([sys.executable, "-m", "vorin_stt.dask", "work", "--scheduler", address], job.folder)
            if attempt == 0:
                job.wait_until_done(3)
                kill(scheduler.pid)
            said = run.communicate(timeout=PATIENCE_S)[0]
            wanted = (5, "the scheduler has gone") if attempt == 0 else (0, f"{UNITS} of {UNITS} units")
            assert run.returncode == wanted[0] and wanted[1] in said, f"status {run.returncode}: {said}"
        finally:
            os.killpg(workers.pid, signal.SIGTERM)
            kill(scheduler.pid)
            workers.communicate(timeout=PATIENCE_S)
            scheduler.communicate(timeout=PATIENCE_S)
    return job.joined()


def failing_units(parent):
    """Every unit fails, as its input has changed: each is named with the reason, and nothing is joined."""
    job = Job(parent, "failing")
    with open(job.folder / "clip.mp4", "ab") as clip:
        clip.write(b"more")
    said = output_of([sys.executable, "-m", "vorin_stt.dask", "work", "--local", "2", "--retries", "1", "--join"], job.folder, 1)
    assert len(re.findall(r"failed: unit \w+ of '.*clip\.mp4': .*chang", said)) == UNITS, said
    assert not (job.folder / "restyled.mp4").exists()


def on_parallel(parent):
    """Killed with all that it started; then the command that goes on."""
    job = Job(parent, "parallel")
    *preparation, command = documented("GNU parallel")
    for line in preparation:
        output_of(line, job.folder, shell=True)
    run = start(command, job.folder)
    job.wait_until_done(3)
    programs = [int(name.name.split(".")[-2]) for name in (job.folder / "work/units").glob("*.part")]
    os.killpg(run.pid, signal.SIGKILL)
    for program in programs:
        kill(program)
    run.communicate(timeout=PATIENCE_S)
    output_of(command, job.folder, shell=True)
    return job.joined()


class Slurm:
    """A cluster of this machine alone."""

    def __init__(self, folder):
        self.folder = folder
        host = socket.gethostname().split(".")[0]
        (folder / "munge.key").write_bytes(os.urandom(1024))
        (folder / "munge.key").chmod(0o400)
        with socket.create_server(("127.0.0.1", 0)) as first, socket.create_server(("127.0.0.1", 0)) as second:
            ports = [each.getsockname()[1] for each in (first, second)]  # that are free
        settings = {"ClusterName": "test", "SlurmctldHost": f"{host}(127.0.0.1)", "SlurmctldPort": ports[0], "SlurmdPort": ports[1],
                    "SlurmUser": "root", "AuthType": "auth/munge", "AuthInfo": f"socket={folder}/munge.socket",
                    "CredType": "cred/munge", "StateSaveLocation": folder, "SlurmdSpoolDir": folder,
                    "SlurmctldPidFile": folder / "slurmctld.pid", "SlurmdPidFile": folder / "slurmd.pid",
                    "SlurmctldLogFile": folder / "slurmctld.log", "SlurmdLogFile": folder / "slurmd.log",
                    "ProctrackType": "proctrack/linuxproc", "TaskPlugin": "task/none", "JobAcctGatherType": "jobacct_gather/none",
                    "SelectType": "select/cons_tres", "SelectTypeParameters": "CR_CPU", "MpiDefault": "none", "ReturnToService": 2}
        (folder / "slurm.conf").write_text("".join(f"{key}={value}\n" for key, value in settings.items()) + (
            f"NodeName={host} NodeAddr=127.0.0.1 CPUs={os.cpu_count()} State=UNKNOWN\n"
            "PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP\n"), encoding="utf-8")

    def start(self):
        environment["SLURM_CONF"] = str(self.folder / "slurm.conf")
        files = [f"--{name}-file={self.folder}/munge.{name}" for name in ("key", "log", "seed", "pid")]
        output_of(["munged", "--force", f"--socket={self.folder}/munge.socket", *files], self.folder)
        output_of(["slurmctld", "-i"], self.folder)
        output_of(["slurmd"], self.folder)
        wait_for("an idle node", lambda: "idle" in output_of(["sinfo", "--noheader", "--format=%T"], self.folder))

    def end(self):
        for name in ("slurmd.pid", "slurmctld.pid", "munge.pid"):
            file = self.folder / name
            if file.exists():
                os.kill(int(file.read_text(encoding="utf-8")), signal.SIGTERM)
                wait_for(f"the end of {name}", lambda file=file: not file.exists())


def on_slurm(parent):
    """A task's program is killed, so the array fails; the same lines again do the rest."""
    folder = parent / "cluster"
    folder.mkdir()
    cluster = Slurm(folder)
    try:
        cluster.start()
    except (AssertionError, subprocess.TimeoutExpired, OSError) as error:
        with contextlib.suppress(AssertionError, OSError):
            cluster.end()
        logs = [file.read_text(errors="replace")[-2000:] for file in sorted(folder.glob("*.log"))]
        print("skipped: the daemons of Slurm do not start on this machine:", error, *logs, sep="\n")
        sys.exit(77)
    try:
        job = Job(parent, "slurm")
        lines = "set -e\n" + "\n".join(documented("Slurm"))
        run = start(lines, job.folder)
        job.wait_until_done(3)
        kill(wait_for("a unit at work", job.busy))
        said = run.communicate(timeout=PATIENCE_S)[0]
        assert run.returncode != 0, said
        output_of(["bash", "-c", lines], job.folder)
        return job.joined()
    finally:
        cluster.end()


SCENARIOS = {"dask": [killed_local_dask, killed_scheduler, failing_units], "parallel": [on_parallel], "slurm": [on_slurm]}
NEEDS = {"dask": "dask", "parallel": "parallel", "slurm": "slurmctld"}


def main():
    engine = sys.argv[2]
    if shutil.which(NEEDS[engine], path=environment["PATH"]) is None:
        print(f"skipped: {NEEDS[engine]} is not installed")
        return 77
    if engine == "slurm" and os.getuid() != 0:
        print("skipped: the daemons of Slurm need root")
        return 77
    with tempfile.TemporaryDirectory() as work:
        parent = pathlib.Path(work)
        output_of(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=480x270:rate=25:duration=12", "-f", "lavfi", "-i",
                   "sine=duration=12", "-pix_fmt", "yuv420p", "clip.mp4"], parent)
        alone = Job(parent, "alone")
        output_of(["vorin-stylize", "job", "work", "work"], alone.folder)
        expected = alone.joined()
        assert expected[0].count("\n0,") == 300 and expected[1] == contents(parent / "clip.mp4")[1]
        for scenario in SCENARIOS[engine]:
            found = scenario(parent)
            assert found in (None, expected), f"{scenario.__name__}: the result is another one than that of one process"
    print(f"jobs_on_engines: {engine} gives what one process gives")
    return 0


sys.exit(main())
