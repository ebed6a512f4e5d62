#!/usr/bin/env python3
"""Times jobs against plain runs of vorin-stylize, and workers against one worker, all by turns.

The clip has 25 frames a second, the style is cartoon, a unit is 10 seconds long where jobs are held against plain runs and 2
seconds elsewhere. Times are those of whole commands, with the loading of the network, which a first run that is not timed has
compiled. Those on Dask begin when its workers have started. $VORIN_BUILD_DIR names the build folder, build/release without it.
Needs the demo package.
"""

from __future__ import annotations

import argparse
import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
BUILD = Path(os.environ.get("VORIN_BUILD_DIR", SOURCE / "build/release")).resolve()
PROGRAM = str(BUILD / "vorin-stylize")
ENVIRONMENT = os.environ | {"PYTHONPATH": str(SOURCE / "python")}
STYLE = ["--style", "cartoon", "--models", str(SOURCE / "build/models"), "--quiet"]


class Bench:
    """The commands, in a folder that holds clip.mp4, and the times that they took."""

    def __init__(self, folder: Path, size: str, seconds: int) -> None:
        self.folder = folder
        self.times_s: dict[str, list[float]] = {}
        picture = f"testsrc2=size={size}:rate=25:duration={seconds}"
        self.run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", picture, "-pix_fmt", "yuv420p", "clip.mp4")

    def run(self, *command: str) -> None:
        subprocess.run(command, cwd=self.folder, env=ENVIRONMENT, check=True)

    def time(self, name: str, *command: str) -> None:
        start_s = time.perf_counter()
        self.run(*command)
        self.times_s.setdefault(name, []).append(time.perf_counter() - start_s)

    def median_s(self, name: str) -> float:
        return statistics.median(self.times_s[name])

    def plan(self, *options: str) -> None:
        """Plans the job `work` anew."""
        shutil.rmtree(self.folder / "work", ignore_errors=True)
        self.run(
            PROGRAM, "job", "plan", "clip.mp4", "-o", "joined.mp4", "--overwrite", "--job", "work", *STYLE, *options
        )

    def warm_up_share(self) -> float:
        units = json.loads((self.folder / "work/job.json").read_text(encoding="utf-8"))["units"]
        return sum(unit["part"]["warm_up"] for unit in units) / sum(unit["part"]["frames"] for unit in units)

    def against_plain(self, name: str, *options: str) -> None:
        """Times a plain run, and the work and the join of a job."""
        self.time(f"{name}, plain", PROGRAM, "clip.mp4", "-o", "plain.mp4", "--overwrite", *STYLE, *options)
        self.plan("--unit-length", "10", *options)
        self.time(f"{name}, work", PROGRAM, "job", "work", "work", "--quiet")
        self.time(f"{name}, join", PROGRAM, "job", "join", "work", "--quiet")

    def on_dask(self, workers: int) -> None:
        """Each worker has one processor; so the only one gets no more."""
        self.plan("--unit-length", "2")
        processors = ",".join(str(number) for number in sorted(os.sched_getaffinity(0))[:workers])
        python = [str(SOURCE / "build/venv/bin/python"), "-m", "vorin_stt.dask", "work", "--local", str(workers)]
        command = ["taskset", "-c", processors, *python, "--program", PROGRAM]
        run = subprocess.run(
            command, cwd=self.folder, env=ENVIRONMENT, stderr=subprocess.PIPE, encoding="utf-8", check=True
        )
        frames, rate = re.findall(r"of (\d+) frames, ([\d.]+) a second", run.stderr)[-1]
        self.times_s.setdefault(f"dask {workers}", []).append(int(frames) / float(rate))

    def row(self, what: str, ours_s: float, other_s: float, ratio: float, limit: str, is_kept: bool) -> None:
        verdict = "ok" if is_kept else "**OVER**"
        print(f"| {what} | {ours_s:.2f} s | {other_s:.2f} s | {ratio:.3g} | {limit} | {verdict} |", flush=True)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--size", default="480x270", help="of the clip (480x270)")
    parser.add_argument("--seconds", type=int, default=20, help="of the clip (20)")
    parser.add_argument("--turns", type=int, default=3, help="times that each command runs (3)")
    arguments = parser.parse_args()
    if not (SOURCE / "build/models/model_st.bin").is_file():
        sys.exit("jobs.py: there is no package in build/models: run scripts/demo first")
    with tempfile.TemporaryDirectory() as folder:
        bench = Bench(Path(folder), arguments.size, arguments.seconds)
        bench.run(PROGRAM, "clip.mp4", "-o", "first.mp4", "--end", "1", *STYLE)
        share = 0.0
        for _ in range(arguments.turns):
            bench.against_plain("job")
            bench.against_plain("steady job", "--steady")
            share = bench.warm_up_share()
            bench.plan("--unit-length", "2")
            bench.time("workers 1", PROGRAM, "job", "work", "work", "--quiet")
            bench.plan("--unit-length", "2")
            bench.time("workers 2", PROGRAM, "job", "work", "work", "--quiet", "--workers", "2")
            bench.on_dask(1)
            bench.on_dask(2)
        print(f"load {os.getloadavg()[0]:.1f}; warm-up of the steady job: {share:.1%} of its frames")
        print("| what | this | other side | ratio | limit | |\n|---|---:|---:|---:|---:|---|")
        for name, limit in (("job", 1.05), ("steady job", 1.05 + share)):
            plain_s, work_s, join_s = (bench.median_s(f"{name}, {part}") for part in ("plain", "work", "join"))
            ratio = (work_s + join_s) / plain_s
            bench.row(
                f"{name}, work and join : plain run", work_s + join_s, plain_s, ratio, f"<= {limit:.2f}", ratio <= limit
            )
        work_s, join_s = bench.median_s("job, work"), bench.median_s("job, join")
        bench.row("work : join", work_s, join_s, work_s / join_s, ">= 20", work_s / join_s >= 20)
        for what, one, two, aim in (
            ("one Dask worker : two, one thread each", "dask 1", "dask 2", 1.7),
            ("one process : `--workers 2`, the same processors", "workers 1", "workers 2", 1.0),
        ):
            ratio = bench.median_s(one) / bench.median_s(two)
            bench.row(what, bench.median_s(one), bench.median_s(two), ratio, f">= {aim}", ratio >= aim)
    return 0


if __name__ == "__main__":
    sys.exit(main())
