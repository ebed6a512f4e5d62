"""Style types 1 and 2 as networks of our own: trained to draw what `fixed_style.py` draws, in a third of the time.

Most layers run on a coarse grid, a quarter of the image's size: residual blocks there draw the style. A layer at half the size gives
back the edges that the coarse grid lost, and one more takes the photo's colours past them, without their noise. Each layer but the last
ones is normalised over the picture. What lies beyond the border is black, which the trained numbers know.

The numbers are `data/small_networks.npz`; `train/` is how they came about, and holds the same networks in PyTorch. See docs/models.md.
"""

from __future__ import annotations

from functools import cache
from pathlib import Path

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from fixed_style import CARTOON_STYLE_COLOUR, LIGHTNESS, brightened, cut, image_input, named, padded
from layers import EPSILON

NUMBERS = Path(__file__).parent / "data" / "small_networks.npz"
BLOCKS = 3
# Pixels between the taps of the second layer of each block, which so sees farther for the same time.
TAP_DISTANCE = 2


def small_light_grey_network() -> ov.Model:
    """Style type 1: three equal planes; the library stretches whatever range they have."""
    image = image_input()
    _, last = _repainted(image, "light_grey")
    grey = ops.depth_to_space(last, "depth_first", 2, name="repainted/interleaved")
    light = brightened(cut(grey, image))
    return named(image, ops.concat([light] * 3, 1, name="picture"), "light_grey")


def small_cartoon_network() -> ov.Model:
    """Style type 2: the style's flat shades and outlines with the photo's colours, -1 to 1."""
    image = image_input()
    pixels, last = _repainted(image, "cartoon")
    only_lightness, identity = np.tile(LIGHTNESS, (3, 1)), np.eye(3)
    # From 0..1 to -1..1 is a factor of 2 and an offset of -1.
    shades = 2.0 * (only_lightness * (1.0 - CARTOON_STYLE_COLOUR) + identity * CARTOON_STYLE_COLOUR)
    painted = ops.matmul(shades.astype(np.float32)[None], ops.reshape(last, np.array([0, 3, -1]), True), False, False, name="shades")
    painted = ops.reshape(painted, ops.shape_of(last, "i64"), False, name="shades/phases")
    weights, bias = (2.0 * _numbers(f"cartoon.{name}") for name in ("colour", "colour_bias"))
    colours = ops.add(_convolved(pixels, "colours", weights), (bias - 1.0).reshape(1, -1, 1, 1), name="colours/bias")
    picture = ops.depth_to_space(ops.add(painted, colours, name="sum"), "depth_first", 2, name="interleaved")
    return named(image, cut(picture, image), "cartoon")


@cache
def _all_numbers() -> dict[str, np.ndarray]:
    with np.load(NUMBERS) as file:
        return {name: file[name].astype(np.float32) for name in file}


def _numbers(name: str) -> np.ndarray:
    return _all_numbers()[name]


def _repainted(image: ov.Node, style: str) -> tuple[ov.Node, ov.Node]:
    """The image from 0 to 2 and the repainted planes from 0 to 1, both as squares of four pixels, plane by plane."""
    light = ops.add(padded(image), np.float32(1.0), name="light")
    pixels = ops.space_to_depth(light, "depth_first", 2, name="pixels")
    edges = ops.relu(_layer(pixels, style, "stem"), name="stem/relu")
    coarse = ops.relu(_layer(edges, style, "down", stride=2), name="down/relu")
    for block in range(BLOCKS):
        inner = ops.relu(_layer(coarse, style, f"blocks.{block}.0"), name=f"blocks.{block}.0/relu")
        outer = _layer(inner, style, f"blocks.{block}.1", distance=TAP_DISTANCE)
        coarse = ops.add(coarse, outer, name=f"blocks.{block}.sum")
    fine = ops.depth_to_space(_layer(coarse, style, "up"), "depth_first", 2, name="up/interleaved")
    edges = ops.add(edges, ops.relu(fine, name="up/relu"), name="edges")
    last = _convolved(edges, "last", _numbers(f"{style}.last"))
    last = ops.add(last, _numbers(f"{style}.bias").reshape(1, -1, 1, 1), name="last/bias")
    return pixels, ops.sigmoid(last, name="repainted")


def _layer(x: ov.Node, style: str, name: str, stride: int = 1, distance: int = 1) -> ov.Node:
    """Taps, then each plane with mean 0 and deviation 1 over the picture, times its scale, plus its shift."""
    x = _convolved(x, name, _numbers(f"{style}.{name}.weights"), stride, distance)
    x = ops.mvn(x, [2, 3], True, EPSILON, "inside_sqrt", name=f"{name}/normalise")
    scale, shift = (_numbers(f"{style}.{name}.{kind}").reshape(1, -1, 1, 1) for kind in ("scale", "shift"))
    return ops.add(ops.multiply(x, scale, name=f"{name}/scale"), shift, name=f"{name}/shift")


def _convolved(x: ov.Node, name: str, weights: np.ndarray, stride: int = 1, distance: int = 1) -> ov.Node:
    border = [distance * (weights.shape[2] // 2)] * 2
    return ops.convolution(x, weights, [stride] * 2, border, border, [distance] * 2, name=f"{name}/convolution")
