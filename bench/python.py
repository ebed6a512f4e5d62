#!/usr/bin/env python3
"""Times a call of vorin_stt.Stylizer against the C function, both by turns in one process; two objects in two threads against one after
the other; and the import. $VORIN_BUILD_DIR names the build folder, build/release without it. Needs the demo package.

A call may cost 1.02 times the C function's time and 20 microseconds; threads no more than one after the other; the import 0.3 seconds.
"""

from __future__ import annotations

import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from collections.abc import Callable
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
BUILD = Path(os.environ.get("VORIN_BUILD_DIR", SOURCE / "build/release")).resolve()
MODELS = SOURCE / "build/models"
PYTHON = SOURCE / "build/venv/bin/python"
FACTOR, CONSTANT_S = 1.02, 20e-6
IMPORT_S = 0.3
CASES = [
    ("pencil", "bgra", (32, 32)),
    ("pencil", "bgra", (960, 540)),
    ("pencil", "nv12", (960, 540)),
    ("stipple", "bgra", (960, 540)),
    ("lightgrey", "bgra", (960, 540)),
    ("cartoon", "nv12", (960, 540)),
    ("transfer", "bgra", (960, 540)),
]


def seconds(work: Callable[[], object]) -> float:
    """The time of one call."""
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def compare(style: str, format: str, size: tuple[int, int], turns: int) -> tuple[float, float]:
    """The medians of the C function and of the call, over several pairs of objects, since each has its own place in memory."""
    pairs = 4
    times = [each for pair in range(pairs) for each in times_of_pair(style, format, size, max(turns // pairs, 1), pair % 2 == 1)]
    return statistics.median(c for c, _ in times), statistics.median(p for _, p in times)


def times_of_pair(style: str, format: str, size: tuple[int, int], turns: int, python_first: bool) -> list[tuple[float, float]]:
    """The times of both, by turns, after a frame each."""
    import numpy as np
    import vorin_stt as vs
    from c_door import Door, frame_over

    width, height = size
    shape = (height, width, 4) if format == "bgra" else (height // 2 * 3, width)
    frame = np.random.default_rng(1).integers(0, 256, shape, np.uint8)
    image = np.random.default_rng(2).integers(0, 256, (256, 256, 4), np.uint8)
    results = np.zeros((2, *shape), np.uint8)
    is_transfer = style == "transfer"
    door = Door(str(BUILD / "libvorin_stt.so"), str(MODELS))
    source, output = frame_over(frame, format), frame_over(results[0], format)

    def by_c() -> None:
        door.restyle(source, None, output)

    def by_python() -> None:
        stylizer(frame, format=format, out=results[1])

    def first_by_c() -> None:
        door.prepare(style, width, height)
        door.restyle(source, frame_over(image, "bgra") if is_transfer else None, output)

    with vs.Stylizer(style, size=None if python_first else size, style_image=image if is_transfer else None) as stylizer:
        for work in (by_python, first_by_c) if python_first else (first_by_c, by_python):
            work()
        times = [(seconds(by_c), seconds(by_python)) for _ in range(turns)]
    assert is_transfer or np.array_equal(results[0], results[1])
    return times


def threads_ratio(turns: int) -> float:
    """The time of two objects in two threads over that of one after the other."""
    import numpy as np
    import vorin_stt as vs

    frame = np.random.default_rng(1).integers(0, 256, (540, 960, 4), np.uint8)
    with vs.Stylizer("pencil") as one, vs.Stylizer("lightgrey") as two:

        def in_turn() -> None:
            for _ in range(10):
                one(frame)
            for _ in range(10):
                two(frame)

        def at_once() -> None:
            threads = [threading.Thread(target=lambda s=s: [s(frame) for _ in range(10)]) for s in (one, two)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()

        in_turn()
        times = [(seconds(in_turn), seconds(at_once)) for _ in range(turns)]
    return statistics.median(b for _, b in times) / statistics.median(a for a, _ in times)


def measure(turns: int) -> int:
    """Prints the figures; returns the exit status."""
    failed = False
    print(f"{'':28}{'C':>12}{'Python':>12}{'ratio':>9}{'more':>10}")
    for style, format, size in CASES:
        c, python = compare(style, format, size, turns if size[0] > 100 else 20 * turns)
        failed |= python > FACTOR * c + CONSTANT_S
        name = f"{style} {format} {size[0]}x{size[1]}"
        print(f"{name:28}{1e3 * c:9.3f} ms{1e3 * python:9.3f} ms{python / c:9.3f}{1e6 * (python - c):7.0f} us", flush=True)
    ratio = threads_ratio(max(turns // 8, 3))
    print(f"two objects in two threads: {ratio:.2f} of the time of one after the other")
    imports = [seconds(lambda: subprocess.run([PYTHON, "-c", "import vorin_stt"], check=True)) for _ in range(5)]
    empty = [seconds(lambda: subprocess.run([PYTHON, "-c", ""], check=True)) for _ in range(5)]
    took_s = statistics.median(imports) - statistics.median(empty)
    print(f"import: {took_s:.3f} s; with numpy and the native module: {loading_s() - statistics.median(empty):.3f} s")
    return 1 if failed or ratio > 1.05 or took_s > IMPORT_S else 0


def loading_s() -> float:
    """The time of an interpreter that loads all of the package."""
    return statistics.median(
        seconds(lambda: subprocess.run([PYTHON, "-c", "import vorin_stt; vorin_stt.Stylizer"], check=True)) for _ in range(5)
    )


def main() -> int:
    """Returns the exit status."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--turns", type=int, default=31, help="of each side (31)")
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.inside:
        sys.path.insert(0, str(SOURCE / "tests/python"))
        return measure(arguments.turns)
    with tempfile.TemporaryDirectory() as folder:
        # A copy of the interpreter, since the C functions unpack networks in the program's own folder.
        copy = Path(folder) / "python"
        copy.write_bytes(PYTHON.resolve().read_bytes())
        copy.chmod(0o700)
        packages = next((SOURCE / "build/venv/lib").glob("python3*/site-packages"))
        environment = os.environ | {
            "PYTHONHOME": "/usr",
            "PYTHONPATH": f"{BUILD}/python:{packages}",
            "VORIN_STT_MODELS": str(MODELS),
        }
        softgpu = [str(SOURCE / "scripts/with-softgpu"), "--build", str(BUILD)]
        command = [*softgpu, str(copy), __file__, "--inside", "--turns", str(arguments.turns)]
        return subprocess.run(command, env=environment, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
