"""The errors of the package. Their texts say what is wrong, the reason, and what to do."""

from __future__ import annotations

import re


class VorinError(Exception):
    """Any error of this package: an option that makes no sense, a file that cannot be read, an object in use or closed."""

    _is_of_file = False  # whether the file or the system is at fault, not the call: the command line ends with another status


class DeviceError(VorinError):
    """The device, its driver, or the memory that the work needs."""


class ModelError(VorinError):
    """The package of networks, or one of its networks."""


class FrameError(VorinError, ValueError):
    """An array that cannot be a frame, or a result, of the format that was named."""


class Cancelled(VorinError):
    """The work was ended early. Raise it in ``on_progress`` to end the work there."""


_KINDS = {kind.__name__: kind for kind in (VorinError, DeviceError, ModelError, FrameError, Cancelled)}

# What the texts of the media library, which speak to users of the program vorin-stylize, are in Python: whole sentences first.
_SENTENCES = (
    (
        r"no model package found.*",
        "no model package found: pip install vorin-stt-models, or name the folder of model_st.bin by models",
    ),
    (
        r"a library does not load: libopenvino\.so.*",
        'there is no inference runtime for GPUs: pip install "vorin-stt[gpu]", or leave device out',
    ),
    (r"'vorin-stylize devices'|vorin-stylize devices", "python -m vorin_stt devices"),
    (
        r"PoCL \(pocl-opencl-icd\) is installed",
        'PoCL is installed (pip install "vorin-stt[filters]", or the Debian package pocl-opencl-icd)',
    ),
)

# Then the options, but within quotes: there they are parts of the user's own names.
_QUOTED = re.compile(r"((?<!\w)'.*?'(?!\w))", re.DOTALL)
_OPTIONS = (
    (r"add --style-image with an image file", "give style_image an image"),
    (r"--keep-colors\b", "keep_colors"),
    (r"--([a-z]+)-([a-z]+)", r"\1_\2"),
    (r"--([a-z]+) (software|integrated|discrete)", r'\1="\2"'),
    (r"--([a-z]+)", r"\1"),
)


def error_of(kind: str, text: str) -> VorinError:
    """Returns the error for a failure of the native module. kind: the name of a class, or "file"."""
    for pattern, word in _SENTENCES:
        text = re.sub(pattern, word, text)
    parts = _QUOTED.split(text)  # those of odd indices are quoted
    for pattern, word in _OPTIONS:
        parts[::2] = [re.sub(pattern, word, part) for part in parts[::2]]
    error = _KINDS.get(kind, VorinError)("".join(parts))
    error._is_of_file = kind == "file"
    return error
