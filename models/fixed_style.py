"""Style types 1 and 2: one mixture each of the 26 fixed styles, with the finishing that makes it light grey or a cartoon.

Both networks take any size from 8 x 8 pixels on and give a picture of the same size: the trained layers want multiples of 4, so
the graph itself adds mirrored columns and rows and cuts them off again. See docs/models.md for why these styles were chosen.
"""

from __future__ import annotations

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from style_network import Expansion, fold_input, reorder_output, repaint
from subpixel import expanded
from trained_weights import Convolution, fixed_style_layers

# The size of the network before a reshape.
DEFAULT_HEIGHT = 540
DEFAULT_WIDTH = 960

# Each mixture's shares add up to 1.
LIGHT_GREY_MIX = {8: 0.5, 14: 0.5}
CARTOON_MIX = {2: 0.6, 21: 0.4}

# Below 1: middle tones become lighter, black and white stay.
LIGHT_GREY_EXPONENT = 0.7
# Replaces 0, which has no logarithm: lightened, it is far below a byte's half step.
SMALLEST_GREY = 1e-6
# How much of a cartoon's colour is the style's own; the rest is the photo's, a little stronger than it was.
CARTOON_STYLE_COLOUR = 0.2
CARTOON_PHOTO_COLOUR = 1.04

# The lightness of planes in the order blue, green, red (the weights of Rec. 601).
LIGHTNESS = np.array([0.114, 0.587, 0.299])
REVERSED = [2, 1, 0]


def light_grey_network(expand: Expansion = expanded) -> ov.Model:
    """Style type 1: three equal planes; the library stretches whatever range they have."""
    image = image_input()
    grey = cut(_repainted(padded(image), LIGHT_GREY_MIX, LIGHTNESS[None], expand), image)
    light = brightened(grey)
    return named(image, ops.concat([light] * 3, 1, name="picture"), "light_grey")


def cartoon_network() -> ov.Model:
    """Style type 2: the style's flat shades and outlines with the photo's colours, -1 to 1."""
    image = image_input()
    only_lightness = np.tile(LIGHTNESS, (3, 1))
    identity = np.eye(3)
    # From 0..1 to -1..1 is a factor of 2 and an offset of -1; the photo's colours already have that scale, and no offset.
    shades = only_lightness * (1.0 - CARTOON_STYLE_COLOUR) + identity * CARTOON_STYLE_COLOUR
    painted = cut(_repainted(padded(image), CARTOON_MIX, 2.0 * shades), image)
    matrix = (CARTOON_PHOTO_COLOUR * (identity - only_lightness)).astype(np.float32)
    colours = ops.matmul(matrix[None], ops.reshape(image, np.array([0, 0, -1]), True), False, False, name="photo_colours/mix")
    colours = ops.reshape(colours, ops.shape_of(image, "i64"), False, name="photo_colours")
    return named(image, ops.add(ops.add(painted, colours), np.float32(-1.0), name="picture"), "cartoon")


def painting_network(style: int) -> ov.Model:
    """One of the 26 styles as it was trained, with the values of style type 2: -1 to 1."""
    image = image_input()
    painted = cut(_repainted(padded(image), {style: 1.0}, 2.0 * np.eye(3)), image)
    return named(image, ops.add(painted, np.float32(-1.0), name="picture"), f"style_{style}")


def brightened(grey: ov.Node) -> ov.Node:
    """Grey from 0 to 1 with its middle tones lifted."""
    # The runtime has vectors for a logarithm and an exponential function, but none for a power.
    exponents = ops.multiply(ops.log(ops.clamp(grey, SMALLEST_GREY, 1.0)), np.float32(LIGHT_GREY_EXPONENT))
    return ops.exp(exponents, name="brightened")


def image_input() -> ov.Node:
    image = ops.parameter([1, 3, -1, -1], np.float32, name="input")
    image.output(0).set_names({"input"})
    return image


def padded(image: ov.Node) -> ov.Node:
    """The image with its sides made multiples of 4."""
    four = np.array([4, 4], dtype=np.int64)
    missing = ops.mod(ops.subtract(four, ops.mod(_size_of(image), four)), four)
    ends = ops.concat([np.array([0, 0], dtype=np.int64), missing], 0)
    return ops.pad(image, np.zeros(4, dtype=np.int64), ends, "reflect", name="padded")


def _size_of(image: ov.Node) -> ov.Node:
    """Height and width."""
    return ops.gather(ops.shape_of(image, "i64"), np.array([2, 3]), np.array(0))


def cut(planes: ov.Node, image: ov.Node) -> ov.Node:
    """The planes at the image's own size."""
    start, step, axes = np.array([0, 0]), np.array([1, 1]), np.array([2, 3])
    return ops.slice(planes, start, _size_of(image), step, axes, name="cut")


def _repainted(image: ov.Node, mix: dict[int, float], matrix: np.ndarray, expand: Expansion = expanded) -> ov.Node:
    """The mixture of fixed styles after the matrix, planes blue, green, red, 0 to 1, for such an image, -1 to 1."""
    layers, scales, shifts = folded_layers()

    def normalisation(name: str) -> tuple[ov.Node, ov.Node]:
        scale, shift = (ops.constant(mixed(table[name], mix)) for table in (scales, shifts))
        return scale, shift

    return repaint(image, layers, normalisation, matrix, expand)


def folded_layers() -> tuple[dict[str, Convolution], dict[str, np.ndarray], dict[str, np.ndarray]]:
    """The layers of the 26 styles, and the tables of scales and shifts, for planes blue, green, red; images from -1 to 1."""
    layers, scales, shifts = fixed_style_layers()
    half = np.full(3, 0.5)
    layers["contract.0"] = fold_input(layers["contract.0"], half, half, REVERSED)
    layers["expand.2"] = reorder_output(layers["expand.2"], REVERSED)
    scales["expand.2"] = scales["expand.2"][:, REVERSED]
    shifts["expand.2"] = shifts["expand.2"][:, REVERSED]
    return layers, scales, shifts


def mixed(table: np.ndarray, mix: dict[int, float]) -> np.ndarray:
    """One layer's values in the mixture, [1, channels, 1, 1].

    Multiplied and added one by one: a matrix product rounds differently from processor to processor.
    """
    values = np.zeros(table.shape[1])
    for style, share in mix.items():
        values = values + share * table[style].astype(np.float64)
    return values.astype(np.float32).reshape(1, -1, 1, 1)


def named(image: ov.Node, picture: ov.Node, name: str) -> ov.Model:
    """The network at the default size."""
    picture.output(0).set_names({"output"})
    model = ov.Model([picture], [image], name)
    model.reshape([1, 3, DEFAULT_HEIGHT, DEFAULT_WIDTH])
    return model
