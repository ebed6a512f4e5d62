"""Makes a network's 8-bit twin and measures how far its pictures are from the float network's.

Only the trained convolutions are quantised. What a normalisation is multiplied with spans a wide range (quantising it cost 12 dB
on transfer networks). The finishing after the last layer stays in float too, since its rounding would be seen as it is. Phases are
rounded after they are interleaved: the runtime interleaves bytes in three times the time that it takes for floats.

The first layer's rounding reaches every later one (2 dB on transfer networks, where it stays in float). But it is most of a fixed
style's time, and a photo's bytes can enter it as they are. There the residual blocks stay in float instead: twelve roundings one
upon the other, for little time.
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
import openvino.opset13 as ops  # noqa: E402
from library_way import psnr  # noqa: E402

LEFT_IN_FLOAT_TYPES = ["Add", "Multiply", "MVN", "DepthToSpace"]
LEFT_IN_FLOAT = [r"contract\.0/.*", "style/.*", ".*/mix"]
FIXED_STYLE_LEFT_IN_FLOAT = [*LEFT_IN_FLOAT, r"residual\..*"]

# What one inference takes: the planes of each input by its name.
Inputs = dict[str, np.ndarray]


def quantised(model: ov.Model, samples: Sequence[Inputs]) -> ov.Model:
    """The 8-bit twin, calibrated on all of the samples."""
    fixed_style = len(model.inputs) == 1
    nncf.set_log_level(logging.ERROR)
    with redirect_stdout(io.StringIO()):  # progress bars
        twin = nncf.quantize(
            model,
            nncf.Dataset(samples),
            preset=nncf.QuantizationPreset.MIXED,
            subset_size=len(samples),
            ignored_scope=nncf.IgnoredScope(
                types=LEFT_IN_FLOAT_TYPES,
                patterns=FIXED_STYLE_LEFT_IN_FLOAT if fixed_style else LEFT_IN_FLOAT,
                validate=False,  # no network has all of these
            ),
        )
    if fixed_style:
        _take_bytes(twin)
    return twin


def _take_bytes(model: ov.Model) -> None:
    """Lets the first layer compute with the image's own bytes and with weights of 8 bits."""
    nodes = {node.get_friendly_name(): node for node in model.get_ops()}
    image, weights = nodes["padded"].input(0), nodes["contract.0/convolution"].input(1)
    # An image from -1 to 1 becomes 0 to 2, since whole numbers with another zero make convolutions slower. The layer does not see
    # the offset: its border is mirrored and its result normalised.
    low, high, offset = np.float32(-1.0), np.float32(1.0), np.float32(1.0)
    image.replace_source_output(
        ops.fake_quantize(image.get_source_output(), low, high, low + offset, high + offset, 256, name="bytes").output(0)
    )
    trained = np.array(weights.get_source_output().get_node().data, dtype=np.float32)
    largest = np.abs(trained).max(axis=(1, 2, 3), keepdims=True)
    rounded = ops.fake_quantize(weights.get_source_output(), -largest, largest, -largest, largest, 255, name="contract.0/weights")
    weights.replace_source_output(rounded.output(0))


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
