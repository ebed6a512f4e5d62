"""Does the units of a job on a Dask cluster: python -m vorin_stt.dask DIR (--scheduler ADDRESS | --local N).

Each open unit is a task. A task may be done twice without harm, so Dask gives the units of a dead worker to others.
docs/scale.md says more.
"""

from __future__ import annotations

import argparse
import contextlib
import json
import logging
import os
import shutil
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    import distributed

# Exit statuses, those of vorin-stylize.
DONE, SOME_FAILED, USAGE, NO_INPUT, CANCELLED = 0, 1, 2, 5, 130

CONNECT_S = 10
LOOK_S = 0.2
BETWEEN_LINES_S = 5

HELP = """\
Each worker process does one unit after the other in one vorin-stylize. A worker
that dies loses its unit to another one; a unit that fails is tried again. The
command can be ended and started again at any time: it does what is still open.

The workers, like this command, see the job's folder under the same path:
  dask scheduler
  dask worker tcp://HOST:8786 --nworkers 4 --nthreads 1    # on each machine

Exit status: 0 all units are done, 1 some failed (each is named), 2 usage,
5 no job, program, scheduler or Dask, 130 cancelled."""


class Failure(Exception):
    """A message for the user, and the exit status."""

    def __init__(self, message: str, status: int = NO_INPUT) -> None:
        super().__init__(message)
        self.status = status


@dataclass
class Progress:
    """Shows on standard error how far the job is: on a terminal in one line, elsewhere in a line every few seconds."""

    units: int
    frames: int
    units_done: int
    frames_done: int

    def __post_init__(self) -> None:
        self._start_s = time.monotonic()
        self._shown_s = self._start_s
        self._frames_before = self.frames_done

    def add(self, frames: int) -> None:
        """A unit of so many frames is done."""
        self.units_done += 1
        self.frames_done += frames
        now_s = time.monotonic()
        is_last = self.units_done == self.units
        if not (sys.stderr.isatty() or is_last or now_s - self._shown_s >= BETWEEN_LINES_S):
            return
        self._shown_s = now_s
        rate = (self.frames_done - self._frames_before) / max(now_s - self._start_s, 1e-3)
        left_s = round((self.frames - self.frames_done) / max(rate, 1e-3))
        line = (
            f"{self.units_done} of {self.units} units, {self.frames_done} of {self.frames} frames,"
            f" {rate:.1f} a second, {left_s // 3600}:{left_s // 60 % 60:02}:{left_s % 60:02} left"
        )
        if sys.stderr.isatty():
            print(f"\r\033[K{line}", end="\n" if is_last else "", file=sys.stderr, flush=True)
        else:
            tell(line)


def tell(line: str) -> None:
    """Prints a line for the user."""
    print(f"vorin_stt.dask: {line}", file=sys.stderr, flush=True)


def job_state(program: str, job: str) -> dict[str, Any]:
    """The job as `vorin-stylize job status --json` describes it."""
    run = subprocess.run([program, "job", "status", job, "--json"], capture_output=True, encoding="utf-8", check=False)
    if run.returncode != 0:
        lines = run.stderr.strip().splitlines() or [f"{program} ended with status {run.returncode}"]
        raise Failure(lines[-1].removeprefix("vorin-stylize: "))
    return json.loads(run.stdout)


@contextlib.contextmanager
def connected(arguments: argparse.Namespace) -> Iterator[distributed.Client]:
    """A client of the cluster that the arguments name."""
    import distributed

    logging.getLogger("distributed").setLevel(logging.CRITICAL)  # this command reports what the user needs
    with contextlib.ExitStack() as cleanup:
        address = arguments.scheduler
        if arguments.local:
            address = cleanup.enter_context(
                distributed.LocalCluster(
                    n_workers=arguments.local,
                    threads_per_worker=1,
                    processes=True,
                    dashboard_address=None,
                    silence_logs=logging.CRITICAL,
                )
            )
        try:
            client = cleanup.enter_context(distributed.Client(address, timeout=CONNECT_S))
        except (OSError, TimeoutError, ValueError) as failure:
            raise Failure(f"{address}: no Dask scheduler answers there: start one with dask scheduler") from failure
        yield client


def unit_task(plugin: str) -> Callable[[str], None]:
    """The function of the tasks. It is made here so that Dask sends it by value, as it does every inner function."""

    def do_unit(unit: str) -> None:
        from distributed import get_worker

        get_worker().plugins[plugin].do(unit)

    return do_unit


def do_units(client: distributed.Client, arguments: argparse.Namespace, state: dict[str, Any]) -> dict[str, str]:
    """Has the open units done; returns why units failed, by id."""
    import cloudpickle
    from distributed import as_completed

    from vorin_stt import unit_plugin

    cloudpickle.register_pickle_by_value(unit_plugin)
    plugin = unit_plugin.UnitPlugin(arguments.job, arguments.program, arguments.models, arguments.local or 0)
    client.register_plugin(plugin)
    if not client.scheduler_info()["workers"]:
        tell("no worker has joined yet: waiting; start some with dask worker ADDRESS --nthreads 1")
    frames = {unit["id"]: unit["frames"] for unit in state["units"] if unit["state"] != "done"}
    progress = Progress(len(state["units"]), state["frames"], len(state["units"]) - len(frames), state["frames_done"])
    task = unit_task(plugin.name)
    # Units of the same bytes have the same id in every job, so the key names the job too. Long units begin first, lest one
    # is left over for a single worker at the end.
    futures = {
        client.submit(
            task,
            unit,
            key=("vorin_unit", arguments.job, unit),
            retries=arguments.retries,
            priority=frames[unit],
            pure=False,
        ): unit
        for unit in frames
    }
    failures = {}
    try:
        completed = as_completed(futures)
        while not completed.is_empty():
            if client.status != "running":
                raise Failure("the scheduler has gone: what is done is kept; start a scheduler and this command again")
            if not completed.has_ready():
                time.sleep(LOOK_S)
                continue
            future = completed.next()
            if future.status not in ("finished", "error", "cancelled"):  # its worker died just now: it is done again
                completed.add(future)
                continue
            # Dask does a unit again when the worker that holds its result dies, unless nobody holds the future.
            unit = futures.pop(future)
            if future.status == "finished":
                progress.add(frames[unit])
            else:
                failures[unit] = str(future.exception()) if future.status == "error" else "it was cancelled"
    finally:
        with contextlib.suppress(Exception):  # the scheduler or a worker may go at this moment
            client.cancel(list(futures), force=True)
            client.unregister_worker_plugin(plugin.name)
    return failures


def report(state: dict[str, Any], failures: dict[str, str]) -> int:
    """Names the units and images that failed; returns the exit status."""
    for unit in state["units"]:
        if unit["state"] != "done":
            tell(f"failed: unit {unit['id']} of '{unit['input']}': {failures.get(unit['id'], 'it is still open')}")
    for failure in state["failures"]:
        tell(f"no result: {failure}")
    is_whole = all(unit["state"] == "done" for unit in state["units"]) and not state["failures"]
    return DONE if is_whole else SOME_FAILED


def work(arguments: argparse.Namespace) -> int:
    """Does what main() is asked for; returns the exit status."""
    program = shutil.which(arguments.program)
    if program is None:
        raise Failure(f"{arguments.program}: there is no such program: name it by --program")
    state = job_state(program, arguments.job)
    try:
        import distributed  # noqa: F401
    except ImportError as failure:
        raise Failure(f"Dask is missing ({failure}): pip install 'vorin-stt[dask]'") from failure
    failures = {}
    if any(unit["state"] != "done" for unit in state["units"]):
        with connected(arguments) as client:
            failures = do_units(client, arguments, state)
    status = report(job_state(program, arguments.job), failures)
    if status == DONE and arguments.join:
        return subprocess.run([program, "job", "join", arguments.job], check=False).returncode
    return status


def parsed(words: list[str] | None) -> argparse.Namespace:
    """The arguments of the command line."""
    parser = argparse.ArgumentParser(
        prog="python -m vorin_stt.dask",
        description="Does the units of a job of vorin-stylize on a Dask cluster.",
        epilog=HELP,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument(
        "job", metavar="DIR", type=os.path.abspath, help="folder of the job, from vorin-stylize job plan"
    )
    where = parser.add_mutually_exclusive_group(required=True)
    where.add_argument("--scheduler", metavar="ADDRESS", help="a scheduler that runs, such as tcp://HOST:8786")
    where.add_argument("--local", metavar="N", type=int, help="N worker processes here, which share the processors")
    parser.add_argument(
        "--program",
        metavar="PATH",
        default="vorin-stylize",
        help="here and on the workers (default: vorin-stylize in the path)",
    )
    parser.add_argument(
        "--models",
        metavar="FOLDER",
        type=os.path.abspath,
        help="folder of the model package (default: as vorin-stylize finds it)",
    )
    parser.add_argument(
        "--retries", metavar="N", type=int, default=3, help="how often a failed unit is tried again (3)"
    )
    parser.add_argument("--join", action="store_true", help="write the outputs when all units are done")
    arguments = parser.parse_args(words)
    if (arguments.local is not None and arguments.local < 1) or arguments.retries < 0:
        parser.error("--local must be at least 1, and --retries at least 0")
    if os.path.dirname(arguments.program):  # workers run in folders of their own
        arguments.program = os.path.abspath(arguments.program)
    return arguments


def main(words: list[str] | None = None) -> int:
    """Returns the exit status."""
    arguments = parsed(words)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.default_int_handler)
    try:
        return work(arguments)
    except Failure as failure:
        tell(str(failure))
        return failure.status
    except KeyboardInterrupt:
        tell("cancelled: what is done is kept; the same command goes on")
        return CANCELLED


if __name__ == "__main__":
    sys.exit(main())
