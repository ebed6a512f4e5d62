"""Checks that the expanding layers of `subpixel.py` compute the same as the trained network's plain ones.

The plain form: each pixel doubled, mirrored border, 3 x 3 taps, twice; then 9 x 9 taps on every pixel. The tests run it.
"""

from __future__ import annotations

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from fixed_style import light_grey_network
from layers import Normalisation, normalised
from style_network import convolved
from trained_weights import Convolution

# Height and width: the default, and sides that are not multiples of 4.
SIZES = ((540, 960), (99, 57))
# The limit for outputs from 0 to 1. Summing in another order differs by 0.00003; a wrong tap differs by 0.01 and more.
LARGEST_DIFFERENCE = 2e-4


def plain_expanded(x: ov.Node, layers: dict[str, Convolution], normalisation: Normalisation, matrix: np.ndarray) -> ov.Node:
    """The result of `subpixel.expanded`, computed layer by layer as trained."""
    for name in ("expand.0", "expand.1"):
        x = convolved(_doubled(x), name, layers[name])
        x = ops.relu(normalised(x, name, normalisation))
    x = ops.sigmoid(normalised(convolved(x, "expand.2", layers["expand.2"]), "expand.2", normalisation))
    return ops.convolution(x, matrix.astype(np.float32)[:, :, None, None], [1, 1], [0, 0], [0, 0], [1, 1])


def check() -> float:
    """Compares two whole networks on noise; the largest difference."""
    core = ov.Core()
    largest = 0.0
    for height, width in SIZES:
        image = np.random.default_rng(1).uniform(-1.0, 1.0, (1, 3, height, width)).astype(np.float32)
        pictures = []
        for model in (light_grey_network(), light_grey_network(plain_expanded)):
            model.reshape(image.shape)
            pictures.append(core.compile_model(model, "CPU", {"INFERENCE_PRECISION_HINT": "f32"})(image)[0])
        largest = max(largest, float(np.abs(pictures[0] - pictures[1]).max()))
    if not largest <= LARGEST_DIFFERENCE:
        raise AssertionError(f"subpixel.py differs from the plain layers by {largest}")
    return largest


def _doubled(x: ov.Node) -> ov.Node:
    factors = np.array([2.0, 2.0], dtype=np.float32)
    mode = {"coordinate_transformation_mode": "asymmetric", "nearest_mode": "floor"}
    return ops.interpolate(x, factors, "nearest", "scales", axes=np.array([2, 3], dtype=np.int64), **mode)
