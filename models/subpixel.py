"""The expanding layers of the repainting network at fewer positions with more planes: the same numbers in a third of the time.

The trained network doubles the picture twice, each pixel becoming a square of four, convolves after each doubling, and ends with
9 x 9 taps on every pixel that give only three planes, where a processor computes sixteen at once. Here each convolution runs on a
coarse grid and gives every pixel of a block of the fine grid as a plane of its own, a phase:
- after a doubling, a block is the square that one pixel became. Its 3 x 3 taps on equal pixels add up: of the undoubled picture,
  each phase weighs 2 x 2 pixels.
- the last layer moves on by blocks of 4 x 4 pixels; each phase has the trained taps at its own place in a 12 x 12 window.
Phases stand plane by plane until the pixel-wise work is done, so that a normalisation sees a plane's phases as its rows, and are
then interleaved. Source: Shi et al., "Real-Time Single Image and Video Super-Resolution Using an Efficient Sub-Pixel Convolutional
Neural Network", 2016. `subpixel_check.py` holds the plain form and compares.
"""

from __future__ import annotations

from itertools import product

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from layers import Normalisation, normalised
from trained_weights import Convolution

# The side of the last layer's blocks.
LAST_BLOCK = 4


def expanded(x: ov.Node, layers: dict[str, Convolution], normalisation: Normalisation, matrix: np.ndarray) -> ov.Node:
    """Four times the size: each plane k is the sum of the repainted picture's three, 0 to 1, with the weights matrix[k]."""
    x = _doubled(x, "expand.0", layers["expand.0"], normalisation)
    x = _doubled(x, "expand.1", layers["expand.1"], normalisation)
    weights = layers["expand.2"].weights
    border = weights.shape[2] // 2
    x = ops.pad(x, [0, 0, border, border], [0, 0, border, border], "reflect", name="expand.2/border")
    kernel = block_kernel(weights, LAST_BLOCK)
    x = ops.convolution(x, kernel, [LAST_BLOCK] * 2, [0, 0], [0, 0], [1, 1], name="expand.2/convolution")
    column_count = ops.gather(ops.shape_of(x, "i64"), np.array([3]), np.array(0))
    x = normalised(_phases_as_rows(x, weights.shape[0], "expand.2"), "expand.2", normalisation)
    x = ops.sigmoid(x, name="repainted")

    plane_count = len(matrix)
    x = ops.reshape(x, np.array([0, 0, -1]), True, name="repainted/planes")
    x = ops.matmul(matrix.astype(np.float32)[None], x, False, False, name="repainted/mix")
    shape = ops.concat([np.array([1, plane_count * LAST_BLOCK**2, -1]), column_count], 0)
    x = ops.reshape(x, shape, False, name="repainted/phases")
    return ops.depth_to_space(x, "depth_first", LAST_BLOCK, name="repainted/interleaved")


def doubled_kernel(weights: np.ndarray) -> np.ndarray:
    """For a 3 x 3 convolution of a doubled picture: one of the undoubled picture, [4 x out, in, 3, 3], four phases a plane."""
    planes_out, planes_in = weights.shape[:2]
    # The positions of the taps of an even and of an odd pixel of the doubled picture.
    falls = np.array([[[1, 0, 0], [0, 1, 0], [0, 1, 0]], [[0, 1, 0], [0, 1, 0], [0, 0, 1]]])
    phases = np.zeros((planes_out, 2, 2, planes_in, 3, 3))
    # One tap at a time, in a fixed order: the same sums on every processor.
    for (v, y, a), (h, x, b) in product(np.argwhere(falls), repeat=2):
        phases[:, v, h, :, a, b] += weights[:, :, y, x]
    return phases.reshape(planes_out * 4, planes_in, 3, 3).astype(np.float32)


def block_kernel(weights: np.ndarray, block: int) -> np.ndarray:
    """For a convolution that moves on by blocks: [block^2 x out, in, n + block - 1, n + block - 1], block^2 phases a plane."""
    planes_out, planes_in, side, _ = weights.shape
    window = side + block - 1
    phases = np.zeros((planes_out, block, block, planes_in, window, window), dtype=np.float32)
    for y in range(block):
        for x in range(block):
            phases[:, y, x, :, y : y + side, x : x + side] = weights
    return phases.reshape(planes_out * block**2, planes_in, window, window)


def _doubled(x: ov.Node, name: str, convolution: Convolution, normalisation: Normalisation) -> ov.Node:
    # The doubled picture's border is a mirrored one: its outermost pixel is repeated, as both pixels of a pair are equal.
    x = ops.pad(x, [0, 0, 1, 1], [0, 0, 1, 1], "edge", name=f"{name}/border")
    x = ops.convolution(x, doubled_kernel(convolution.weights), [1, 1], [0, 0], [0, 0], [1, 1], name=f"{name}/convolution")
    plane_count = convolution.weights.shape[0]
    x = ops.relu(normalised(_phases_as_rows(x, plane_count, name), name, normalisation), name=f"{name}/relu")
    x = ops.reshape(x, np.array([0, plane_count * 4, -1, 0]), True, name=f"{name}/phases")
    return ops.depth_to_space(x, "depth_first", 2, name=f"{name}/interleaved")


def _phases_as_rows(x: ov.Node, plane_count: int, name: str) -> ov.Node:
    return ops.reshape(x, np.array([0, plane_count, -1, 0]), True, name=f"{name}/phases_as_rows")
