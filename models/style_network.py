"""Builds the repainting network that the fixed styles and the arbitrary style share.

Its shape: three contracting convolutions, a chain of residual blocks, three expanding convolutions, a sigmoid. After each
convolution every channel is normalised over the picture and given a scale and a shift; those two carry the style. Borders are
mirrored, never black. Source: Dumoulin, Shlens, Kudlur, "A Learned Representation for Artistic Style", 2017.

The colour order and the value range that the library delivers are folded into the first convolution's weights, and the order that
it takes into the last one's, so that neither costs time. Folding an offset is exact because the borders are mirrored.

The last layer gets five empty planes beside the picture's three: the runtime normalises eight planes, a vector's width, in a
fifth of the time that it takes for three (seen with OpenVINO 2026.4.1). `mix_planes` afterwards takes the three out.
"""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import replace

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from trained_weights import Convolution

# A node with one output, or one output of a node with several.
Values = ov.Node | ov.Output
# Gives one layer's scale and shift, each [1, channels, 1, 1]; None where the layer has a bias instead of a normalisation.
Normalisation = Callable[[str], tuple[Values, Values] | None]

EPSILON = 1e-5
LAST_LAYER_PLANES = 8


def fold_input(first: Convolution, scale: np.ndarray, offset: np.ndarray, order: list[int]) -> Convolution:
    """The first convolution for an input whose plane k, times scale[k] plus offset[k], is the trained plane order[k]."""
    weights = first.weights[:, order]
    bias = np.einsum("oihw,i->o", weights.astype(np.float64), offset)
    if first.bias is not None:
        bias = bias + first.bias
    return Convolution((weights * scale[None, :, None, None]).astype(np.float32), bias.astype(np.float32))


def reorder_output(last: Convolution, order: list[int]) -> Convolution:
    """The last convolution giving the trained network's plane order[k] as plane k."""
    return replace(last, weights=last.weights[order], bias=None if last.bias is None else last.bias[order])


def repaint(image: ov.Node, layers: dict[str, Convolution], normalisation: Normalisation) -> ov.Node:
    """The repainted picture, 0 to 1, in the first three of its planes, for an image whose sides are multiples of 4."""

    def layer(x: ov.Node, name: str, stride: int = 1, activate: bool = True) -> ov.Node:
        return _layer(x, name, layers[name], normalisation(name), stride, activate)

    x = layer(image, "contract.0")
    x = layer(x, "contract.1", stride=2)
    x = layer(x, "contract.2", stride=2)
    for block in range(sum(1 for name in layers if name.startswith("residual.")) // 2):
        inner = layer(x, f"residual.{block}.0")
        x = ops.add(x, layer(inner, f"residual.{block}.1", activate=False), name=f"residual.{block}.sum")
    x = layer(_double_size(x, "expand.0"), "expand.0")
    x = layer(_double_size(x, "expand.1"), "expand.1")
    scale_and_shift = normalisation("expand.2")
    assert scale_and_shift is not None
    scale, shift = (_widened(node) for node in scale_and_shift)
    missing = LAST_LAYER_PLANES - layers["expand.2"].weights.shape[0]
    weights = np.pad(layers["expand.2"].weights, ((0, missing), (0, 0), (0, 0), (0, 0)))
    x = _layer(x, "expand.2", Convolution(weights), (scale, shift), stride=1, activate=False)
    return ops.sigmoid(x, name="repainted")


def mix_planes(planes: ov.Node, matrix: np.ndarray, name: str) -> ov.Node:
    """Each plane k as the sum of the first three planes with the weights matrix[k]."""
    count = _channels(planes)
    kernel = np.zeros((3, count, 1, 1), dtype=np.float32)
    kernel[:, :3, 0, 0] = matrix
    return ops.convolution(planes, kernel, [1, 1], [0, 0], [0, 0], [1, 1], name=name)


def _layer(
    x: ov.Node,
    name: str,
    convolution: Convolution,
    norm: tuple[Values, Values] | None,
    stride: int,
    activate: bool,
) -> ov.Node:
    """Mirrored border, convolution, then normalisation (or bias), then the activation."""
    border = convolution.weights.shape[2] // 2
    x = ops.pad(x, [0, 0, border, border], [0, 0, border, border], "reflect", name=f"{name}/border")
    x = ops.convolution(x, convolution.weights, [stride] * 2, [0, 0], [0, 0], [1, 1], name=f"{name}/convolution")
    if norm is None:
        assert convolution.bias is not None
        x = ops.add(x, convolution.bias.reshape(1, -1, 1, 1), name=f"{name}/bias")
    else:
        # The normalisation takes a channel's mean away, and with it any bias: adding one would be work for nothing.
        scale, shift = norm
        x = ops.mvn(x, [2, 3], True, EPSILON, "inside_sqrt", name=f"{name}/normalise")
        x = ops.add(ops.multiply(x, scale, name=f"{name}/scale"), shift, name=f"{name}/shift")
    return ops.relu(x, name=f"{name}/relu") if activate else x


def _widened(values: Values) -> ov.Node:
    """The last layer's scale or shift with zeros for the empty planes."""
    missing = LAST_LAYER_PLANES - _channels(values)
    return ops.pad(values, [0, 0, 0, 0], [0, missing, 0, 0], "constant", np.float32(0.0))


def _channels(values: Values) -> int:
    output = values.output(0) if isinstance(values, ov.Node) else values
    return output.get_partial_shape()[1].get_length()


def _double_size(x: ov.Node, name: str) -> ov.Node:
    """Each pixel becomes a square of four."""
    # Float constants are stored in 16 bits, which the runtime widens only when it compiles: until then a network read from a file
    # would have no known size. Integers stay as they are.
    factors = ops.convert(np.array([2, 2], dtype=np.int32), "f32")
    return ops.interpolate(
        x,
        factors,
        "nearest",
        "scales",
        coordinate_transformation_mode="asymmetric",
        nearest_mode="floor",
        axes=np.array([2, 3], dtype=np.int64),
        name=f"{name}/double",
    )
