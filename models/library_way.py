"""The library's computations on pixels before and after a network, in plain numpy.

The networks are calibrated, measured and looked at through this module. It is written from the library's documented behaviour and
shares no code with it. Images are arrays [height, width, 3] of bytes in the order blue, green, red.
"""

from __future__ import annotations

import numpy as np
from PIL import Image

# The content planes are blue, green, red, but get the constants of red, green, blue: the library's networks expect that.
CONTENT_MEAN = np.array([123.675, 116.28, 103.53])
CONTENT_DEVIATION = np.array([58.395, 57.12, 57.375])
# The style planes, blue, green, red, get the constants of their own colours.
STYLE_MEAN = CONTENT_MEAN[::-1].copy()
STYLE_DEVIATION = np.array([57.375, 57.12, 58.395])
# The constants of the output planes, blue, green, red, in the range 0 to 1.
OUTPUT_MEAN = np.array([0.406, 0.456, 0.485])
OUTPUT_DEVIATION = np.array([0.225, 0.224, 0.229])


def resized(image: np.ndarray, width: int, height: int) -> np.ndarray:
    """The image at another size. The library's bilinear resize differs a little when it shrinks an image."""
    if image.shape[:2] == (height, width):
        return image
    return np.asarray(Image.fromarray(image).resize((width, height), Image.Resampling.BILINEAR))


def content_planes(image: np.ndarray) -> np.ndarray:
    """The tensor "input_content" of style type 0."""
    return _to_planes((image - CONTENT_MEAN) / CONTENT_DEVIATION)


def style_planes(image: np.ndarray) -> np.ndarray:
    """The tensor "input_style" of style type 0."""
    return _to_planes((image - STYLE_MEAN) / STYLE_DEVIATION)


def symmetric_planes(image: np.ndarray) -> np.ndarray:
    """The input tensor of style types 1 and 2."""
    return _to_planes((image - 127.5) / 127.5)


def transfer_picture(tensor: np.ndarray) -> np.ndarray:
    """The picture that the library makes of an output of style type 0."""
    return _to_bytes(_stretched(np.clip(_to_pixels(tensor) * OUTPUT_DEVIATION + OUTPUT_MEAN, 0.0, 1.0)))


def stretched_picture(tensor: np.ndarray) -> np.ndarray:
    """The picture that the library makes of an output of style type 1: its smallest value is black, its largest white."""
    return _to_bytes(_stretched(_to_pixels(tensor)))


def symmetric_picture(tensor: np.ndarray) -> np.ndarray:
    """The picture that the library makes of an output of style type 2: -1 is black, 1 is white."""
    return _to_bytes(_to_pixels(tensor) * 127.5 + 127.5)


def psnr(picture: np.ndarray, reference: np.ndarray) -> float:
    """The peak signal-to-noise ratio of two pictures of bytes, in decibels; infinite for equal ones."""
    error = float(np.mean((picture.astype(np.float64) - reference.astype(np.float64)) ** 2))
    return float("inf") if error == 0.0 else 10.0 * float(np.log10(255.0**2 / error))


def _to_planes(pixels: np.ndarray) -> np.ndarray:
    return np.ascontiguousarray(pixels.transpose(2, 0, 1)[None], dtype=np.float32)


def _to_pixels(tensor: np.ndarray) -> np.ndarray:
    return tensor[0].astype(np.float64).transpose(1, 2, 0)


def _stretched(pixels: np.ndarray) -> np.ndarray:
    low, high = pixels.min(), pixels.max()
    return (pixels - low) * (255.0 / (high - low)) if high > low else np.zeros_like(pixels)


def _to_bytes(pixels: np.ndarray) -> np.ndarray:
    return np.clip(np.rint(pixels), 0, 255).astype(np.uint8)
