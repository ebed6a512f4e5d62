"""What a worker process of a Dask cluster holds: one vorin-stylize that does unit after unit with its network loaded.

It is a plugin and not an actor, because Dask gives a plugin also to workers that join later or replace one that died.
Dask sends this module to the workers by value: they need Dask and vorin-stylize, but not this package.
"""

from __future__ import annotations

import json
import os
import signal
import socket
import subprocess
import tempfile
import threading
from typing import Any

from distributed import WorkerPlugin


class UnitPlugin(WorkerPlugin):
    """Does units of one job, one at a time."""

    def __init__(self, job: str, program: str, models: str | None, shares: int) -> None:
        """shares: the number of workers, named 0, 1, ..., that get equal shares of the processors; 0: no shares."""
        self.name = f"vorin-stt {job}"
        self._command = [program, "job", "work", job, "--unit", "-", "--quiet"]
        self._command += ["--models", models] if models else []
        self._shares = shares

    def setup(self, worker: Any) -> None:
        """Runs in the worker; the program starts with the first unit."""
        self._turn = threading.Lock()
        self._child: subprocess.Popen[str] | None = None
        self._is_over = False
        self._processors: list[int] = []
        if self._shares > 0:
            signal.signal(
                signal.SIGINT, signal.SIG_IGN
            )  # Ctrl-C on the terminal is for the command, which ends its workers
            usable = sorted(os.sched_getaffinity(0))
            place = int(worker.name)
            first = place * len(usable) // self._shares
            last = max(first + 1, (place + 1) * len(usable) // self._shares)
            self._processors = [usable[i % len(usable)] for i in range(first, last)]

    def teardown(self, worker: Any) -> None:
        """Ends the program between two frames; a unit at work stays open."""
        self._is_over = True
        child = self._child
        if child is not None:
            child.terminate()
            child.stdin.close()

    def do(self, unit: str) -> None:
        """Returns once the unit is done. Any failure is a RuntimeError, which every client can read."""
        with self._turn:
            if self._is_over:
                raise RuntimeError("the work was cancelled")
            if self._child is None or self._child.poll() is not None:
                self._start()
            try:
                self._child.stdin.write(unit + "\n")
                self._child.stdin.flush()
                line = self._child.stdout.readline()
            except (OSError, ValueError):  # it ended, or its input was closed by teardown
                line = ""
            if not line:
                raise RuntimeError(self._reason_of_end())
        answer = json.loads(line)
        if answer["state"] != "done":
            raise RuntimeError(answer.get("error") or f"the unit is {answer['state']}")

    def _start(self) -> None:
        environment = dict(os.environ)
        if self._processors:
            # The child gets this thread's processors. PoCL counts all of the machine's unless this variable is set.
            os.sched_setaffinity(0, self._processors)
            environment["POCL_MAX_PTHREAD_COUNT"] = str(len(self._processors))
        self._errors = tempfile.TemporaryFile(mode="w+", encoding="utf-8", errors="replace")  # noqa: SIM115
        try:
            # In a session of its own, out of reach of the terminal's Ctrl-C.
            self._child = subprocess.Popen(
                self._command,
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=self._errors,
                encoding="utf-8",
                env=environment,
                start_new_session=True,
            )
        except OSError as failure:
            reason = f"{self._command[0]}: cannot be started on {socket.gethostname()} ({failure.strerror})"
            raise RuntimeError(f"{reason}: name the program of that machine by --program") from None

    def _reason_of_end(self) -> str:
        status = self._child.wait()
        self._errors.seek(0)
        lines = self._errors.read().strip().splitlines()
        return lines[-1] if lines else f"vorin-stylize on {socket.gethostname()} ended with status {status}"
