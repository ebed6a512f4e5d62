"""The formats of frames, and the checks that an array is a frame of one. Nothing is converted and nothing is guessed.

A frame has 8 bits a sample, its top row first. Bytes of a pixel and pixels of a row follow each other; rows may have space between
them. YUV is video-range BT.601, as clips have it.
"""

from __future__ import annotations

import sys
from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np

from vorin_stt import _native
from vorin_stt.errors import FrameError, VorinError

if TYPE_CHECKING:
    from enum import Enum

    from numpy.typing import NDArray

_LARGEST_SIDE = 16384

# The format that a picture of Pillow is in, by its mode.
_PILLOW_FORMATS = {"RGB": "rgb24", "RGBA": "rgba"}


class Format(NamedTuple):
    """A pixel format."""

    name: str
    shape: str  # as a user reads it
    pixel_bytes: int  # 0: rows of samples in two planes
    layout: Any  # of the native module
    even_sides: str  # "", "width" or "both"

    def array_shape(self, size: tuple[int, int]) -> tuple[int, ...]:
        """The shape of the array of a frame of that size."""
        width, height = size
        return (height, width, self.pixel_bytes) if self.pixel_bytes else (height // 2 * 3, width)


FORMATS = {
    each.name: each
    for each in (
        Format("bgra", "(height, width, 4)", 4, _native.Layout.bgra, ""),
        Format("rgba", "(height, width, 4)", 4, _native.Layout.rgba, ""),
        Format("bgr24", "(height, width, 3)", 3, _native.Layout.bgr24, ""),
        Format("rgb24", "(height, width, 3)", 3, _native.Layout.rgb24, ""),
        Format("nv12", "(height * 3/2, width)", 0, _native.Layout.nv12, "both"),
        Format("yuyv422", "(height, width, 2)", 2, _native.Layout.yuyv422, "width"),
    )
}


def choice(enumeration: type[Enum], name: object, what: str) -> Any:
    """The member of that name."""
    if isinstance(name, str) and name in enumeration.__members__:
        return enumeration[name]
    raise VorinError(f"unknown {what} {name!r}: use one of {', '.join(enumeration.__members__)}")


def size_of(value: object) -> tuple[int, int] | None:
    """A size that a user names, as (width, height), or None."""
    if value is None:
        return None
    try:
        width, height = (side.__index__() for side in value)  # type: ignore[attr-defined]
    except (AttributeError, TypeError, ValueError):
        raise VorinError(f"size {value!r}: use (width, height), two whole numbers of pixels") from None
    if not (1 <= width <= _LARGEST_SIDE and 1 <= height <= _LARGEST_SIDE):
        raise VorinError(f"size {value!r}: use sides of 1 to {_LARGEST_SIDE}")
    return width, height


def format_named(name: object) -> Format:
    """The format of that name."""
    if isinstance(name, str) and name in FORMATS:
        return FORMATS[name]
    raise FrameError(f"unknown format {name!r}: use one of {', '.join(FORMATS)}")


def as_array(frame: object, format: str | None, what: str) -> tuple[NDArray[np.uint8], Format]:
    """The frame as an array, and its format. Without `format` it is that of a Pillow picture; an array is bgra."""
    if isinstance(frame, np.ndarray):
        return frame, format_named("bgra" if format is None else format)
    pillow = sys.modules.get("PIL.Image")
    if pillow is not None and isinstance(frame, pillow.Image):
        own = _PILLOW_FORMATS.get(frame.mode)
        if own is None or format not in (None, own):
            mode = next((mode for mode, its_format in _PILLOW_FORMATS.items() if its_format == format), None)
            hint = "leave format out" if own and mode is None else f"use its convert({mode or 'RGB'!r})"
            raise FrameError(f"{what} is a Pillow picture of the mode {frame.mode!r}: {hint}")
        return np.asarray(frame), FORMATS[own]
    if not hasattr(frame, "__array_interface__"):
        try:
            frame = memoryview(frame)  # type: ignore[arg-type]
        except TypeError:
            raise FrameError(
                f"{what} is a {type(frame).__name__}: use a numpy array, or what numpy.asarray makes one of"
            ) from None
    return np.asarray(frame), format_named("bgra" if format is None else format)


def size_of_frame(array: NDArray[np.uint8], format: Format, what: str) -> tuple[int, int]:
    """Checks an array; returns (width, height)."""
    if array.dtype != np.uint8:
        raise FrameError(f"{what} has the type {array.dtype}: use uint8, 0 to 255")
    shape, strides = array.shape, array.strides
    pixel_bytes = format.pixel_bytes
    if (len(shape) != 3 or shape[2] != pixel_bytes) if pixel_bytes else (len(shape) != 2 or shape[0] % 3 != 0):
        raise FrameError(f"{what} has the shape {shape}: {format.name} has {format.shape}")
    width, height = shape[1], shape[0] if pixel_bytes else shape[0] // 3 * 2
    if not (1 <= width <= _LARGEST_SIDE and 1 <= height <= _LARGEST_SIDE):
        raise FrameError(f"{what} is {width} pixels wide and {height} high: use sides of 1 to {_LARGEST_SIDE}")
    if (format.even_sides and width % 2 != 0) or (format.even_sides == "both" and height % 2 != 0):
        raise FrameError(
            f"{what} is {width} pixels wide and {height} high: {format.name} takes even sides only, so use bgra"
        )
    # The stride of a dimension of one element may be anything.
    step = max(pixel_bytes, 1)
    is_packed = (width == 1 or strides[1] == step) and (pixel_bytes == 0 or strides[2] == 1)
    if not is_packed or (shape[0] > 1 and strides[0] < width * step):
        raise FrameError(
            f"{what} has the strides {strides}: pixels must follow each other in a row, and rows must not run backwards or "
            "overlap; numpy.ascontiguousarray makes such a copy"
        )
    return width, height
