"""Image files and clips: frame by frame, and from file to file."""

from __future__ import annotations

import os
from dataclasses import dataclass
from fractions import Fraction
from typing import TYPE_CHECKING

from vorin_stt import _native
from vorin_stt.closing import Closing
from vorin_stt.errors import VorinError
from vorin_stt.pixels import format_named, size_of
from vorin_stt.stylizer import Info, native_options, path_text

if TYPE_CHECKING:
    from collections.abc import Callable, Iterator

    import numpy as np
    from numpy.typing import NDArray


@dataclass(frozen=True, eq=False)
class Frame:
    """A frame of a clip."""

    array: NDArray[np.uint8]  #: its pixels, in the format that open() was asked for
    time: float  #: of its begin, in seconds
    duration: float  #: in seconds; 0 if the clip does not say


class Clip(Closing):
    """The frames of a clip, or the one of an image file, in their order. Iterating over it reads it once, from begin to end.

    Closing it, or reading its last frame, frees the decoder.
    """

    def __init__(self, path: str | os.PathLike[str], format: str = "bgra") -> None:
        self.path = path_text(path, "the file")  #: as it was named
        self._native = _native.FrameReader(self.path, format_named(format).layout)
        info = self._native.info()
        rate, base = info["frame_rate"]
        self.size: tuple[int, int] = info["size"]  #: (width, height) of all frames
        self.frame_rate = Fraction(rate, base) if rate > 0 and base > 0 else None  #: on average; None: unknown
        self.frames: int | None = info["frames"]  #: how many are expected; None: the file does not say

    def __iter__(self) -> Iterator[Frame]:
        return self

    def __next__(self) -> Frame:
        frame = None if self.closed else self._native.next()
        if frame is None:
            raise StopIteration
        return Frame(*frame)

    @property
    def damage(self) -> list[str]:
        """The damaged parts of the file, a line each, once its last frame was read; their frames are left out or repaired."""
        return self._native.damage

    def __repr__(self) -> str:
        return f"<vorin_stt.Clip {self.path!r}, {self.size[0]}x{self.size[1]}{', closed' if self.closed else ''}>"


def open(path: str | os.PathLike[str], format: str = "bgra") -> Clip:
    """Opens a clip or an image file, whose content decides, for reading frame by frame.

    format: of the arrays: ``bgra``, ``rgba``, ``bgr24``, ``rgb24``, ``nv12`` (even sizes only) or ``yuyv422`` (even widths only). Images are
    upright and opaque.

    Raises VorinError if the file cannot be read or is neither, FrameError for a format that there is not.
    """
    return Clip(path, format)


@dataclass(frozen=True)
class Result:
    """What :func:`stylize` has written."""

    frames: int  #: in the output
    size: tuple[int, int]  #: (width, height) of the output
    info: Info  #: what restyled, and where
    warnings: list[str]  #: parts of the input that the output cannot hold, a line each
    damage: list[str]  #: damaged parts of the input, a line each; the rest is in the output


def stylize(
    input: str | os.PathLike[str],
    output: str | os.PathLike[str],
    style: str = "pencil",
    *,
    style_image: str | os.PathLike[str] | None = None,
    network: str | None = None,
    models: str | os.PathLike[str] | None = None,
    device: str = "auto",
    precision: str = "f32",
    size: tuple[int, int] | None = None,
    strength: float = 1.0,
    keep_colors: bool = False,
    steady: bool = False,
    overwrite: bool = False,
    on_progress: Callable[[int, int | None], object] | None = None,
) -> Result:
    """Restyles an image file or a clip into another one, as the program vorin-stylize does.

    The output's extension says what it is: ``.png .jpg .jpeg .webp .bmp``, or a clip ``.mp4 .m4v .mov .mkv .webm``. A clip keeps its
    sound, subtitles and times. The output is written whole or not at all; an existing one is replaced only with ``overwrite``.

    style_image: an image file, for ``transfer``. size: (width, height) of the output as it is shown; None keeps the input's.
    strength: 0 (the input) to 1 (the result). keep_colors: the result's brightness with the input's colours. steady: reduces the
    flicker of a clip. network, models, device, precision: as in :class:`Stylizer`.

    on_progress: called after each frame with the frames done and those expected, or None where the clip does not say. What it
    raises ends the work without an output, and comes out of this function; so does Ctrl-C.

    Raises ModelError, DeviceError, or VorinError for files and options.
    """
    if style_image is not None and style != "transfer":
        raise VorinError(f"style_image applies to the style transfer only: leave it out of {style!r}")
    if style == "transfer" and style_image is None:
        raise VorinError("the style transfer takes its look from an image: give style_image an image file")
    if on_progress is not None and not callable(on_progress):
        raise VorinError(f"on_progress {on_progress!r} cannot be called: use a function of two numbers")
    report = _native.stylize(
        path_text(input, "the input"),
        path_text(output, "the output"),
        native_options(style, network, models, None, device, precision),
        size_of(size),
        "" if style_image is None else path_text(style_image, "style_image"),
        float(strength),
        bool(keep_colors),
        bool(steady),
        bool(overwrite),
        on_progress,
    )
    return Result(report["frames"], report["size"], Info.of(report), report["warnings"], report["damage"])
