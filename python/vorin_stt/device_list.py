"""Lists what styles can run on."""

from __future__ import annotations

from dataclasses import dataclass

from vorin_stt import _native
from vorin_stt.errors import DeviceError
from vorin_stt.opencl import use_packaged_opencl
from vorin_stt.stylizer import Stylizer


@dataclass(frozen=True)
class Device:
    """Something that runs styles."""

    kind: (
        str  #: "integrated" or "discrete", a GPU, or "software", this machine's processor; Stylizer takes it as device
    )
    name: str  #: as its driver reports it
    reason: str  #: when device="auto" takes it


def devices() -> list[Device]:
    """Returns the GPUs, and last the software device. ``device="auto"`` takes a GPU if there is one.

    Raises DeviceError if there is no device at all.
    """
    use_packaged_opencl()
    try:
        gpus = [Device(kind, name, "a GPU") for kind, name in _native.gpus()]
    except DeviceError:  # the inference runtime for GPUs is not installed
        gpus = []
    reason = "for styles that no GPU runs" if gpus else "no GPU found"
    try:
        with Stylizer("pencil", device="software") as stylizer:
            software = [Device("software", stylizer.info.device, reason)]
    except DeviceError:
        if not gpus:
            raise
        software = []
    return gpus + software
