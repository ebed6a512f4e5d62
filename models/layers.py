"""A layer's normalisation, shared by the parts of the repainting network."""

from __future__ import annotations

from collections.abc import Callable

import openvino as ov
import openvino.opset13 as ops

# A node with one output, or one output of a node with several.
Values = ov.Node | ov.Output
# Returns one layer's scale and shift, each [1, channels, 1, 1]; None if the layer has a bias instead of a normalisation.
Normalisation = Callable[[str], tuple[Values, Values] | None]

EPSILON = 1e-5


def normalised(x: ov.Node, name: str, normalisation: Normalisation) -> ov.Node:
    """Each plane with mean 0 and deviation 1 over the picture, times the layer's scale, plus its shift."""
    scale_and_shift = normalisation(name)
    assert scale_and_shift is not None
    scale, shift = scale_and_shift
    x = ops.mvn(x, [2, 3], True, EPSILON, "inside_sqrt", name=f"{name}/normalise")
    return ops.add(ops.multiply(x, scale, name=f"{name}/scale"), shift, name=f"{name}/shift")
