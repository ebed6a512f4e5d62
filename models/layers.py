"""What the parts of the repainting network share: a layer's normalisation, and weights and pixels of 8 bits."""

from __future__ import annotations

from collections.abc import Callable

import numpy as np
import openvino as ov
import openvino.opset13 as ops

# A node with one output, or one output of a node with several.
Values = ov.Node | ov.Output
# Gives one layer's scale and shift, each [1, channels, 1, 1]; None where the layer has a bias instead of a normalisation.
Normalisation = Callable[[str], tuple[Values, Values] | None]

EPSILON = 1e-5


def normalised(x: ov.Node, name: str, normalisation: Normalisation) -> ov.Node:
    """Each plane with mean 0 and deviation 1 over the picture, times the layer's scale, plus its shift."""
    scale_and_shift = normalisation(name)
    assert scale_and_shift is not None
    scale, shift = scale_and_shift
    x = ops.mvn(x, [2, 3], True, EPSILON, "inside_sqrt", name=f"{name}/normalise")
    return ops.add(ops.multiply(x, scale, name=f"{name}/scale"), shift, name=f"{name}/shift")


def eight_bit_weights(weights: np.ndarray) -> ov.Node:
    """Weights that the runtime may keep as whole numbers -127 to 127, with a factor for each plane of the result."""
    largest = np.abs(weights).max(axis=(1, 2, 3), keepdims=True)
    return ops.fake_quantize(ops.constant(weights), -largest, largest, -largest, largest, 255)


def as_bytes(image: ov.Node) -> ov.Node:
    """An image, -1 to 1, as 0 to 2, which the runtime may keep as the bytes that it was: they lose nothing.

    From 0 on, since whole numbers with another zero make convolutions slower. A following layer whose border is mirrored and whose
    result is normalised does not see the offset.
    """
    low, high, offset = np.float32(-1.0), np.float32(1.0), np.float32(1.0)
    return ops.fake_quantize(image, low, high, low + offset, high + offset, 256, name="bytes")
