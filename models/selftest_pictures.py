"""The expected results of `vorin-stylize selftest`: its two built-in pictures, and the sums of the networks' results for them.

The pictures are computed here from the same whole-number formulas as in the program, so that the expectation owes nothing to it.
A picture is summed up as 4 x 4 blocks, each with the means of blue, green and red and the standard deviation of green.
"""

from __future__ import annotations

import numpy as np
import openvino as ov
from fuse_transfer import transfer_network
from library_way import content_planes, stretched_picture, style_planes, symmetric_picture, symmetric_planes, transfer_picture
from small_network import small_cartoon_network, small_light_grey_network

WIDTH, HEIGHT = 384, 288
STYLE_SIZE = 256
BLOCKS = 4
# How far a block's numbers may be off. The 8-bit networks of the fixed styles stay within 5. Style transfer's picture is stretched
# to the whole range, so one pixel's rounding moves all: up to 15 in 8 bits. An exchanged plane or another style's network is 100
# and more away.
TOLERANCES = {"lightgrey": 16, "cartoon": 16, "transfer": 40}


def photo() -> np.ndarray:
    """A sky that grows lighter downwards, a sun, hills, a house with a door."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    sky = _colour(230 - y // 8, 150 + y // 3, 80 + y // 2)
    picture = np.where(_at((x - 90) ** 2 + (y - 70) ** 2 <= 36 * 36), _colour(x * 0 + 120, x * 0 + 220, x * 0 + 250), sky)
    hill = 200 - 60 * (x - 100) ** 2 // (200 * 200) + 40 * (x % 96) // 96
    grass = _colour(40 + (y - hill) // 4, 110 + (x * 7 + y * 13) % 31, 60 + x // 8)
    picture = np.where(_at(y >= hill), grass, picture)
    roof = (y >= 100) & (y < 150) & (np.abs(x - 275) <= (y - 100) * 6 // 5)
    picture = np.where(_at(roof), _colour(x * 0 + 50, x * 0 + 40, x * 0 + 60), picture)
    wall = (x >= 230) & (x < 320) & (y >= 150) & (y < 250)
    picture = np.where(_at(wall), _colour(x * 0 + 70, x * 0 + 90, 190 + (x + y) % 17), picture)
    door = wall & (x >= 262) & (x < 288) & (y >= 195)
    return np.where(_at(door), _colour(x * 0 + 40, x * 0 + 50, x * 0 + 90), picture)


def style_image() -> np.ndarray:
    """Bands of warm and cold colours on a slant."""
    y, x = np.mgrid[0:STYLE_SIZE, 0:STYLE_SIZE]
    bands = np.array([[30, 60, 200], [60, 170, 230], [150, 90, 40], [200, 190, 170]])[(x + 2 * y) // 24 % 4]
    shade = (x * y) % 23
    return _colour(bands[..., 0] + shade, bands[..., 1] - shade, bands[..., 2] + shade // 2)


def block_sums(picture: np.ndarray) -> str:
    """Two hexadecimal digits for each number, block after block."""
    height, width = picture.shape[0] // BLOCKS, picture.shape[1] // BLOCKS
    sums = []
    for row in range(BLOCKS):
        for column in range(BLOCKS):
            block = picture[row * height : (row + 1) * height, column * width : (column + 1) * width].astype(np.float64)
            sums += [*block.mean(axis=(0, 1)), block[..., 1].std()]
    return "".join(f"{min(255, int(np.rint(value))):02x}" for value in sums)


def selftest_expectations() -> dict[str, object]:
    """The package's entry selftest.json, computed with the float networks in f32."""
    image, style = photo(), style_image()
    planes = symmetric_planes(image)
    cartoon_planes = planes.copy()
    cartoon_planes[..., -1] = -1.0  # the library makes the last column black
    inputs = {"input_content": content_planes(_resized(image, 512, 512)), "input_style": style_planes(_resized(style, 512, 512))}
    pictures = {
        "lightgrey": stretched_picture(_answer(small_light_grey_network(), {"input": planes})),
        "cartoon": symmetric_picture(_answer(small_cartoon_network(), {"input": cartoon_planes})),
        "transfer": _resized(transfer_picture(_answer(transfer_network(512, 512, 512), inputs)), WIDTH, HEIGHT),
    }
    return {
        "version": 1,
        "inputs": {"photo": block_sums(image), "style_image": block_sums(style)},
        "styles": {
            name: {"block_sums": block_sums(picture), "tolerance": TOLERANCES[name]} for name, picture in pictures.items()
        },
    }


def _answer(model: ov.Model, inputs: dict[str, np.ndarray]) -> np.ndarray:
    if len(inputs) == 1:
        model.reshape(next(iter(inputs.values())).shape)
    return ov.Core().compile_model(model, "CPU", {"INFERENCE_PRECISION_HINT": "f32"})(inputs)[0]


def _resized(image: np.ndarray, width: int, height: int) -> np.ndarray:
    """Bilinear between pixel centres, nothing averaged: as the library resizes."""
    rows, columns = (_positions(old, new) for old, new in zip(image.shape[:2], (height, width), strict=True))
    pixels = image.astype(np.float64)
    for axis, (first, second, weight) in enumerate((rows, columns)):
        weight = weight.reshape([-1 if a == axis else 1 for a in range(3)])
        pixels = pixels.take(first, axis) * (1.0 - weight) + pixels.take(second, axis) * weight
    return np.clip(np.rint(pixels), 0, 255).astype(np.uint8)


def _positions(old: int, new: int) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    places = np.clip((np.arange(new) + 0.5) * old / new - 0.5, 0, old - 1)
    first = np.floor(places).astype(int)
    return first, np.minimum(first + 1, old - 1), places - first


def _colour(blue: np.ndarray, green: np.ndarray, red: np.ndarray) -> np.ndarray:
    return np.clip(np.stack([blue, green, red], axis=-1), 0, 255).astype(np.uint8)


def _at(mask: np.ndarray) -> np.ndarray:
    return mask[..., None]
