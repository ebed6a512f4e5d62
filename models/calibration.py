"""The samples for calibrating and measuring the 8-bit twins: photos, and photos with style images for style type 0.

A transfer network is used with paintings, so half of the style images are paintings: photos repainted in one of the fixed styles.
The two lists share neither photos nor painting styles.
"""

from __future__ import annotations

import numpy as np
import openvino as ov
from fixed_style import painting_network
from library_way import symmetric_picture, symmetric_planes
from photos import CALIBRATION, HELD_OUT, read_photo, views

CALIBRATION_STYLES = (0, 3, 7, 9, 13, 15, 18, 20, 24)
HELD_OUT_STYLES = (1, 4, 19)

Pair = tuple[np.ndarray, np.ndarray]


def calibration_photos(width: int, height: int) -> list[np.ndarray]:
    """Five views of each photo of the calibration list."""
    return [view for name in CALIBRATION for view in views(read_photo(name), width, height)]


def held_out_photos(width: int, height: int) -> list[np.ndarray]:
    """The middle part of each photo that no calibration uses."""
    return [views(read_photo(name), width, height)[0] for name in HELD_OUT]


def calibration_pairs(width: int, height: int, style_size: int) -> list[Pair]:
    """Each calibration photo with one style image: alternately a repainted picture and a photo."""
    contents = calibration_photos(width, height)
    sources = calibration_photos(style_size, style_size)
    styles = sources[::2]
    for index, style in enumerate(CALIBRATION_STYLES):
        chosen = sources[(index * 2 + 1) % len(sources) : None : 2 * len(CALIBRATION_STYLES)]
        styles += repainted(style, chosen)
    # A step that shares no divisor with the number of styles, so that neighbours in one list are not neighbours in the other.
    step = next(number for number in (7, 11, 13) if len(styles) % number)
    return [(content, styles[index * step % len(styles)]) for index, content in enumerate(contents)]


def held_out_pairs(width: int, height: int, style_size: int) -> list[Pair]:
    """Each held-out photo with each repainted held-out photo, each in another style, and with itself."""
    contents = held_out_photos(width, height)
    sources = held_out_photos(style_size, style_size)
    paintings = [repainted(style, [source])[0] for style, source in zip(HELD_OUT_STYLES, sources, strict=True)]
    pairs = [(content, painting) for content in contents for painting in paintings]
    return pairs + list(zip(contents, sources, strict=True))


def repainted(style: int, images: list[np.ndarray]) -> list[np.ndarray]:
    """Images of one size, repainted in one of the fixed styles."""
    if not images:
        return []
    model = painting_network(style)
    model.reshape([1, 3, *images[0].shape[:2]])
    network = ov.Core().compile_model(model, "CPU", {"INFERENCE_PRECISION_HINT": "f32"})
    return [symmetric_picture(network(symmetric_planes(image))[0]) for image in images]
