"""Makes a network's 8-bit twin and measures how far its pictures are from the float network's.

Only the trained convolutions are quantised, and not the first of them. What a normalisation is multiplied with spans a wide range
(quantising it cost 12 dB on transfer networks), and the first layer's rounding reaches every later one (2 dB). The finishing
after the last layer stays in float too, since its rounding would be seen as it is. Phases are rounded after they are interleaved:
the runtime interleaves bytes in three times the time that it takes for floats.
"""

from __future__ import annotations

import io
import logging
import os
from collections.abc import Callable, Sequence
from contextlib import redirect_stdout

# A build tells nobody that it ran: this switches off the usage reports of nncf, and is read when it is imported.
os.environ.setdefault("NNCF_CI", "1")

import nncf  # noqa: E402
import numpy as np  # noqa: E402
import openvino as ov  # noqa: E402
from library_way import psnr  # noqa: E402

LEFT_IN_FLOAT = nncf.IgnoredScope(
    types=["Add", "Multiply", "MVN", "DepthToSpace"],
    patterns=[r"contract\.0/.*", "style/.*", "repainted/mix"],
    validate=False,  # no network has all of these
)

# What one inference takes: the planes of each input by its name.
Inputs = dict[str, np.ndarray]


def quantised(model: ov.Model, samples: Sequence[Inputs]) -> ov.Model:
    """The 8-bit twin, calibrated on all of the samples."""
    nncf.set_log_level(logging.ERROR)
    with redirect_stdout(io.StringIO()):  # progress bars
        return nncf.quantize(
            model,
            nncf.Dataset(samples),
            preset=nncf.QuantizationPreset.MIXED,
            subset_size=len(samples),
            ignored_scope=LEFT_IN_FLOAT,
        )


def twin_psnr(
    float_model: ov.Model,
    twin: ov.Model,
    samples: Sequence[Inputs],
    picture: Callable[[np.ndarray], np.ndarray],
) -> list[float]:
    """The PSNR of the twin's finished pictures against the float network's, one for each sample, both computed in f32."""
    ours, references = (_pictures(model, samples, picture) for model in (twin, float_model))
    return [psnr(picture, reference) for picture, reference in zip(ours, references, strict=True)]


def _pictures(model: ov.Model, samples: Sequence[Inputs], picture: Callable[[np.ndarray], np.ndarray]) -> list[np.ndarray]:
    if len(model.inputs) == 1:
        model.reshape(next(iter(samples[0].values())).shape)
    network = ov.Core().compile_model(model, "CPU", {"INFERENCE_PRECISION_HINT": "f32"})
    return [picture(network(sample)[0]) for sample in samples]
