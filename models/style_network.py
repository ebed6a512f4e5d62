"""Builds the repainting network that the fixed styles and the arbitrary style share.

Its shape: three contracting convolutions, a chain of residual blocks, three expanding convolutions, a sigmoid. After each
convolution every channel is normalised over the picture and given a scale and a shift; those two carry the style. Borders are
mirrored, never black. Source: Dumoulin, Shlens, Kudlur, "A Learned Representation for Artistic Style", 2017.

The colour order and the value range that the library delivers are folded into the first convolution's weights, and the order that
it takes into the last one's, so that neither costs time. Folding an offset is exact because the borders are mirrored.

The expanding half is in `subpixel.py`.
"""

from __future__ import annotations

import math
from collections.abc import Callable
from dataclasses import replace

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from layers import Normalisation, normalised
from subpixel import expanded
from trained_weights import Convolution

# Builds the expanding half from the contracted planes; the matrix mixes the picture's planes afterwards.
Expansion = Callable[[ov.Node, dict[str, Convolution], Normalisation, np.ndarray], ov.Node]


def fold_input(first: Convolution, scale: np.ndarray, offset: np.ndarray, order: list[int]) -> Convolution:
    """The first convolution for an input whose plane k, times scale[k] plus offset[k], is the trained plane order[k]."""
    weights = first.weights[:, order]
    products = weights.astype(np.float64) * offset[None, :, None, None]
    # The exact sum, rounded once: the same on every processor.
    bias = np.array([math.fsum(products_of_one.flat) for products_of_one in products])
    if first.bias is not None:
        bias = bias + first.bias
    return Convolution((weights * scale[None, :, None, None]).astype(np.float32), bias.astype(np.float32))


def reorder_output(last: Convolution, order: list[int]) -> Convolution:
    """The last convolution with the trained network's plane order[k] as plane k."""
    return replace(last, weights=last.weights[order], bias=None if last.bias is None else last.bias[order])


def repaint(
    image: ov.Node,
    layers: dict[str, Convolution],
    normalisation: Normalisation,
    matrix: np.ndarray,
    expand: Expansion = expanded,
) -> ov.Node:
    """For an image whose sides are multiples of 4: each plane k as the sum of the repainted ones, 0 to 1, weighted by matrix[k]."""

    def layer(x: ov.Node, name: str, stride: int = 1, activate: bool = True) -> ov.Node:
        x = convolved(x, name, layers[name], stride)
        x = _biased(x, name, layers[name]) if normalisation(name) is None else normalised(x, name, normalisation)
        return ops.relu(x, name=f"{name}/relu") if activate else x

    x = layer(image, "contract.0")
    x = layer(x, "contract.1", stride=2)
    x = layer(x, "contract.2", stride=2)
    for block in range(sum(1 for name in layers if name.startswith("residual.")) // 2):
        inner = layer(x, f"residual.{block}.0")
        x = ops.add(x, layer(inner, f"residual.{block}.1", activate=False), name=f"residual.{block}.sum")
    return expand(x, layers, normalisation, matrix)


def convolved(x: ov.Node, name: str, convolution: Convolution, stride: int = 1) -> ov.Node:
    """Mirrored border and convolution, without the bias, which a normalisation would remove again."""
    border = convolution.weights.shape[2] // 2
    x = ops.pad(x, [0, 0, border, border], [0, 0, border, border], "reflect", name=f"{name}/border")
    return ops.convolution(x, convolution.weights, [stride] * 2, [0, 0], [0, 0], [1, 1], name=f"{name}/convolution")


def _biased(x: ov.Node, name: str, convolution: Convolution) -> ov.Node:
    assert convolution.bias is not None
    return ops.add(x, convolution.bias.reshape(1, -1, 1, 1), name=f"{name}/bias")
