"""Repaints pictures and clips in an artistic style: pencil, dots, and the looks of neural networks.

Frames, which are arrays::

    import vorin_stt as vs

    with vs.Stylizer("cartoon", size=(960, 540)) as stylizer:
        restyled = stylizer(frame)  # a numpy array of 8-bit BGRA, (height, width, 4)

Files::

    for frame in vs.open("clip.mp4"):
        print(frame.time, frame.array.shape)
    vs.stylize("clip.mp4", "restyled.mp4", "pencil", steady=True)

Errors are :class:`VorinError` or one of its kinds, and say what to do. The names below are loaded when they are first used.
"""

from __future__ import annotations

import importlib
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from vorin_stt.device_list import Device as Device
    from vorin_stt.device_list import devices as devices
    from vorin_stt.errors import Cancelled as Cancelled
    from vorin_stt.errors import DeviceError as DeviceError
    from vorin_stt.errors import FrameError as FrameError
    from vorin_stt.errors import ModelError as ModelError
    from vorin_stt.errors import VorinError as VorinError
    from vorin_stt.files import Clip as Clip
    from vorin_stt.files import Frame as Frame
    from vorin_stt.files import Result as Result
    from vorin_stt.files import open as open
    from vorin_stt.files import stylize as stylize
    from vorin_stt.stylizer import Info as Info
    from vorin_stt.stylizer import Stylizer as Stylizer

_HOMES = {
    "Cancelled": "errors",
    "Clip": "files",
    "Device": "device_list",
    "DeviceError": "errors",
    "Frame": "files",
    "FrameError": "errors",
    "Info": "stylizer",
    "ModelError": "errors",
    "Result": "files",
    "Stylizer": "stylizer",
    "VorinError": "errors",
    "devices": "device_list",
    "open": "files",
    "stylize": "files",
}

__all__ = sorted(_HOMES)  # noqa: PLE0605


def __getattr__(name: str) -> Any:
    home = _HOMES.get(name)
    if home is None:
        raise AttributeError(f"module 'vorin_stt' has no attribute {name!r}")
    thing = globals()[name] = getattr(importlib.import_module(f"vorin_stt.{home}"), name)
    return thing


def __dir__() -> list[str]:
    return sorted({*globals(), *__all__})
