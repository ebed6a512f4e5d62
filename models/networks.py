"""The demo's networks: how each is built, the samples for measuring it, and the names that the library loads."""

from __future__ import annotations

import json
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

import numpy as np
import openvino as ov
from calibration import calibration_pairs, calibration_photos, held_out_pairs, held_out_photos
from fuse_transfer import transfer_network
from library_way import content_planes, stretched_picture, style_planes, symmetric_picture, symmetric_planes, transfer_picture
from quantise import Ranges
from small_network import small_cartoon_network, small_light_grey_network

# The results of `calibrate.py`: the ranges of the activations, the selftest's pictures, and a style image.
DATA = Path(__file__).parent / "data"

# The inputs of one inference: the planes of each input by its name.
Inputs = dict[str, np.ndarray]

# The size at which the fixed styles are calibrated, measured and timed.
FIXED_WIDTH, FIXED_HEIGHT = 960, 540


@dataclass(frozen=True)
class Network:
    """One network of the package, or two: the float one under `name`, the one for devices with 8-bit arithmetic as `twin_name`.

    The library asks for the cartoon under one name only, whatever the device, so there the two names are the same.
    """

    name: str
    build: Callable[[], ov.Model]
    ranges_name: str | None = None  # of `data/ranges.json`; None: a float network only
    calibration: Callable[[], list[Inputs]] = list
    held_out: Callable[[], list[Inputs]] = list
    picture: Callable[[np.ndarray], np.ndarray] = transfer_picture
    twin_suffix: str = "_int8"

    @property
    def twin_name(self) -> str:
        return self.name + self.twin_suffix

    def ranges(self) -> Ranges:
        """The ranges of the activations of the layers that are quantised."""
        assert self.ranges_name is not None
        return json.loads((DATA / "ranges.json").read_text())[self.ranges_name]


def _pairs(pairs: list[tuple[np.ndarray, np.ndarray]]) -> list[Inputs]:
    return [{"input_content": content_planes(content), "input_style": style_planes(style)} for content, style in pairs]


def _images(images: list[np.ndarray]) -> list[Inputs]:
    return [{"input": symmetric_planes(image)} for image in images]


def _transfer(name: str, size: int) -> Network:
    return Network(
        name,
        lambda: transfer_network(size, size, style_size=size),
        "transfer",
        lambda: _pairs(calibration_pairs(size, size, size)),
        lambda: _pairs(held_out_pairs(size, size, size)),
    )


def _fixed(name: str, build: Callable[[], ov.Model], ranges_name: str, **rest: object) -> Network:
    return Network(
        name,
        build,
        ranges_name,
        lambda: _images(calibration_photos(FIXED_WIDTH, FIXED_HEIGHT)),
        lambda: _images(held_out_photos(FIXED_WIDTH, FIXED_HEIGHT)),
        **rest,  # type: ignore[arg-type]
    )


NETWORKS = (
    _transfer("ensemble_out_r31_512_retrained_autoencoder", 512),
    _transfer("ensemble_out_r31_256_retrained_autoencoder", 256),
    Network("ensemble_out_r31_c540p_s512_retrained_autoencoder", lambda: transfer_network(540, 960, style_size=512)),
    _fixed("model_lightgrey_v19", small_light_grey_network, "light_grey", picture=stretched_picture),
    _fixed("cartoon_model_slim5", small_cartoon_network, "cartoon", picture=symmetric_picture, twin_suffix=""),
)
