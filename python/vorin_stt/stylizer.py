"""Restyles frames in memory."""

from __future__ import annotations

import importlib.util
import os
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np

from vorin_stt import _native
from vorin_stt.closing import Closing
from vorin_stt.errors import FrameError, VorinError
from vorin_stt.opencl import use_packaged_opencl
from vorin_stt.pixels import as_array, choice, format_named, size_of, size_of_frame

if TYPE_CHECKING:
    from collections.abc import Mapping

    from numpy.typing import NDArray


@dataclass(frozen=True)
class Info:
    """What restyles, and where."""

    style: str
    network: str | None  #: its name in the package of networks; None for a filter
    device: str  #: its name
    precision: str | None  #: of the software device's networks, "f32" or "bf16"; None on a GPU
    reason: str  #: why it is this device

    @staticmethod
    def of(report: Mapping[str, Any]) -> Info:
        """From a report of the native module."""
        return Info(
            report["style"].name,
            report["network"] or None,
            report["device"],
            report["precision"] or None,
            report["reason"],
        )


def models_folder(models: object) -> str:
    """The folder of the package of networks. Without `models` it is $VORIN_STT_MODELS, else the folder of vorin-stt-models."""
    named = os.environ.get("VORIN_STT_MODELS") if models is None else models
    if named:
        return path_text(named, "models")
    installed = importlib.util.find_spec("vorin_stt_models")
    if installed is not None and installed.submodule_search_locations:
        return str(Path(next(iter(installed.submodule_search_locations))))
    return ""  # the usual places of the media library


def path_text(path: object, what: str) -> str:
    """The path as text that the native module takes."""
    try:
        text = os.fsdecode(path)  # type: ignore[arg-type]
    except TypeError:
        raise VorinError(f"{what} {path!r} is not a path: use a text or a pathlib.Path") from None
    if "\0" in text:
        raise VorinError(f"{what} {text!r} holds a NUL, which no name of a file can: leave it out")
    if text == "-":
        raise VorinError(f"{what} is '-', standard input or output: name a file, or use the program vorin-stylize for pipes")
    try:
        text.encode()
    except UnicodeEncodeError:
        raise VorinError(f"{what} {text!r} is not UTF-8: rename the file") from None
    return text


def native_options(
    style: object, network: object, models: object, size: tuple[int, int] | None, device: object, precision: object
) -> _native.Options:
    """The options of a restyler, checked. Also has OpenCL found, which the restyler needs."""
    if network is not None and not isinstance(network, str):
        raise VorinError(f"network {network!r} is not a name: use '512', '256' or '540p', with the style transfer only")
    wanted = choice(_native.Precision, precision, "precision")
    if style in ("pencil", "stipple") and wanted == _native.Precision.f32:
        wanted = None  # no network: the precision that the process has will do
    use_packaged_opencl()
    return _native.Options(
        choice(_native.Style, style, "style"),
        network or "",
        models_folder(models),
        size,
        choice(_native.Device, device, "device"),
        wanted,
    )


class Stylizer(Closing):
    """Restyles frames, one after the other, on one device.

    style: ``pencil``, ``stipple``, ``lightgrey``, ``cartoon`` or ``transfer``; the last one takes its look from ``style_image``.

    size: (width, height) of the results; None gives each frame's own size. A style with a network then loads it at once, not
    with the first frame.

    device: ``auto`` takes a GPU if there is one, else the software device, which is this machine's processor; ``integrated``,
    ``discrete`` and ``software`` take that one. precision: of networks on the software device: ``f32`` gives the same results on
    every processor, ``bf16`` is faster where the processor has it. A process has one of the two.

    style_image: for ``transfer``: an image file, a Pillow picture, or an array in ``bgra``. network: for ``transfer``: ``512``
    (the default), ``256`` or ``540p``. models: the folder of ``model_st.bin``; None takes that of ``$VORIN_STT_MODELS``, else that of
    the installed package vorin-stt-models.

    One object serves one thread at a time; several objects may work in several threads. A frame is restyled without Python's lock.
    The process must not be forked once it has made a Stylizer: the new process gets errors. ``with`` or :meth:`close` frees the
    device.

    Raises ModelError for a package or network that cannot be used, DeviceError for a device that there is not, and VorinError for
    options that make no sense.
    """

    def __init__(
        self,
        style: str = "pencil",
        *,
        size: tuple[int, int] | None = None,
        device: str = "auto",
        precision: str = "f32",
        style_image: object = None,
        network: str | None = None,
        models: str | os.PathLike[str] | None = None,
    ) -> None:
        self._size = size_of(size)
        if style_image is not None and style != "transfer":
            raise VorinError(f"style_image applies to the style transfer only: leave it out of {style!r}")
        self._native = _native.Stylizer(native_options(style, network, models, self._size, device, precision))
        self._style = style
        self._style_image: object = None
        if style_image is not None:
            self.set_style_image(style_image)
        if self._size is not None and (style != "transfer" or style_image is not None):
            self._native.prepare(*self._size)

    def __call__(
        self,
        frame: object,
        *,
        format: str | None = None,
        out: NDArray[np.uint8] | None = None,
        strength: float = 1.0,
        keep_colors: bool = False,
    ) -> NDArray[np.uint8]:
        """Restyles one frame and returns the result, in the frame's format.

        frame: an array of uint8 (numpy's, a buffer, or a Pillow picture of the mode RGB or RGBA), which is only read. Pixels
        follow each other in a row; rows may have space between them.

        format: of the frame and the result; None means a Pillow picture's own, and ``bgra`` for arrays.

        ==========  =======================  ===============================================
        format      shape                    bytes
        ==========  =======================  ===============================================
        bgra        (height, width, 4)       blue, green, red, alpha (of results: 255)
        rgba        (height, width, 4)       red, green, blue, alpha
        bgr24       (height, width, 3)       blue, green, red
        rgb24       (height, width, 3)       red, green, blue
        nv12        (height * 3/2, width)    luma, then pairs of chroma; even sides
        yuyv422     (height, width, 2)       luma, chroma by turns; even width
        ==========  =======================  ===============================================

        out: an array for the result, of the result's size, which is written to and returned; None makes one.

        strength: 0 (the frame) to 1 (the result). keep_colors: the result's brightness with the frame's colours.

        Frames of one sequence may influence each other in ``transfer``: see :meth:`start_sequence`.

        Raises FrameError, with the reason, for an array that is not such a frame; VorinError if the object is closed or another
        thread is in it; DeviceError or ModelError if the device or the network fails.
        """
        array, kind = as_array(frame, format, "the frame")
        size = size_of_frame(array, kind, "the frame")
        if self._style == "transfer" and self._style_image is None:
            raise VorinError("the style transfer takes its look from an image: set style_image first")
        wanted = self._size or size
        if out is None:
            result = np.empty(kind.array_shape(wanted), np.uint8)
            size_of_frame(result, kind, "the result")
        else:
            result = self._checked_out(out, array, kind, wanted)
        self._native.restyle(array, result, kind.layout, float(strength), bool(keep_colors))
        return result if out is None else out

    @staticmethod
    def _checked_out(out: object, frame: NDArray[np.uint8], kind: Any, wanted: tuple[int, int]) -> NDArray[np.uint8]:
        result, _ = as_array(out, kind.name, "out")
        if not result.flags.writeable:
            raise FrameError("out cannot be written to: pass a writable array")
        if size_of_frame(result, kind, "out") != wanted:
            raise FrameError(f"out has the shape {result.shape}: the result has {kind.array_shape(wanted)}")
        if np.may_share_memory(result, frame) and np.shares_memory(result, frame):
            raise FrameError("out shares memory with the frame: pass another array")
        return result

    @property
    def style_image(self) -> object:
        """The image whose look ``transfer`` gives to frames, as it was set. Its pixels were copied then."""
        return self._style_image

    @style_image.setter
    def style_image(self, image: object) -> None:
        self.set_style_image(image)

    def set_style_image(self, image: object, *, format: str | None = None) -> None:
        """Sets the style image: an image file, a Pillow picture, or an array in that format (None: ``bgra``). Raises as a call does."""
        if self._style != "transfer":
            raise VorinError(f"style_image applies to the style transfer only: {self._style!r} takes none")
        if isinstance(image, (str, os.PathLike)):
            reader = _native.FrameReader(path_text(image, "style_image"), _native.Layout.bgra)
            frame = reader.next()
            reader.close()
            if frame is None:
                raise VorinError(f"{image!s} has no picture: name another image file")
            array, kind = frame[0], format_named("bgra")
        else:
            array, kind = as_array(image, format, "the style image")
            size_of_frame(array, kind, "the style image")
        self._native.set_style_image(array, kind.layout)
        self._style_image = image

    def start_sequence(self) -> None:
        """Marks the next frame as unrelated to the one before, as after a cut: ``transfer`` smooths its results over time."""
        self._native.start_sequence()

    @property
    def info(self) -> Info:
        """What restyles, and where."""
        return Info.of(self._native.report())

    def __repr__(self) -> str:
        return f"<vorin_stt.Stylizer {self._style!r}{', closed' if self.closed else ''}>"
