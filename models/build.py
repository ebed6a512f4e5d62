"""Builds the demo networks under the names that the library asks for, each 8-bit twin measured before it counts as built.

Usage: build.py FOLDER. The folder afterwards holds an .xml and a .bin file for each network of `NETWORKS` and for each twin, and
painting.png, a style image for style type 0.
"""

from __future__ import annotations

import os
import re
import sys
import time
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

import numpy as np
import openvino as ov
import subpixel_check
from calibration import calibration_pairs, calibration_photos, held_out_pairs, held_out_photos, repainted
from fixed_style import cartoon_network, light_grey_network
from fuse_transfer import transfer_network
from library_way import content_planes, stretched_picture, style_planes, symmetric_picture, symmetric_planes, transfer_picture
from photos import read_photo, views, write_bytes
from quantise import Inputs, quantised, twin_psnr

# A twin whose worst held-out picture falls below this is not shipped.
LEAST_PSNR_DB = 30.0

# The painting: this photo (public domain) in this one of the fixed styles, square as the style inputs are.
PAINTED_PHOTO = "hubble"
PAINTING_STYLE = 7
PAINTING_SIZE = 512


@dataclass(frozen=True)
class Network:
    """One network of the package; without `samples` it is a float network only.

    The library never asks for a twin of the cartoon: with `eight_bit_only` the twin is the network.
    """

    name: str
    build: Callable[[], ov.Model]
    samples: Callable[[], tuple[list[Inputs], list[Inputs]]] | None = None
    picture: Callable[[np.ndarray], np.ndarray] = transfer_picture
    eight_bit_only: bool = False


def _transfer_samples(size: int) -> tuple[list[Inputs], list[Inputs]]:
    """Calibration and held-out samples of a square transfer network."""

    def inputs(pairs: list[tuple[np.ndarray, np.ndarray]]) -> list[Inputs]:
        return [{"input_content": content_planes(c), "input_style": style_planes(s)} for c, s in pairs]

    return inputs(calibration_pairs(size, size, size)), inputs(held_out_pairs(size, size, size))


def _fixed_samples() -> tuple[list[Inputs], list[Inputs]]:
    """Calibration and held-out samples of a fixed style, at its default size."""

    def inputs(images: list[np.ndarray]) -> list[Inputs]:
        return [{"input": symmetric_planes(image)} for image in images]

    return inputs(calibration_photos(960, 540)), inputs(held_out_photos(960, 540))


NETWORKS = (
    Network(
        "ensemble_out_r31_512_retrained_autoencoder",
        lambda: transfer_network(512, 512, style_size=512),
        lambda: _transfer_samples(512),
    ),
    Network(
        "ensemble_out_r31_256_retrained_autoencoder",
        lambda: transfer_network(256, 256, style_size=256),
        lambda: _transfer_samples(256),
    ),
    Network(
        "ensemble_out_r31_c540p_s512_retrained_autoencoder",
        lambda: transfer_network(540, 960, style_size=512),
    ),
    Network("model_lightgrey_v19", light_grey_network, _fixed_samples, stretched_picture),
    Network("cartoon_model_slim5", cartoon_network, _fixed_samples, symmetric_picture, eight_bit_only=True),
)


def build_network(network: Network, folder: Path) -> None:
    """Writes one network and, where it has one, its measured 8-bit twin."""
    started = time.monotonic()
    model = network.build()
    report = f"{network.name}: "
    if not network.eight_bit_only:
        report += f"float {_save(model, folder / f'{network.name}.xml')}; "
    if network.samples is not None:
        calibration, held_out = network.samples()
        twin_file = folder / (f"{network.name}.xml" if network.eight_bit_only else f"{network.name}_int8.xml")
        size = _save(quantised(model, calibration), twin_file)
        figures = twin_psnr(model, ov.Core().read_model(twin_file), held_out, network.picture)
        report += (
            f"8-bit {size}, calibrated on {len(calibration)} samples, PSNR against float on {len(figures)} held-out ones: "
            f"worst {min(figures):.1f} dB, mean {np.mean(figures):.1f} dB; "
        )
        if min(figures) < LEAST_PSNR_DB:
            raise RuntimeError(f"{report}below {LEAST_PSNR_DB:.0f} dB, so it is not shipped")
    print(f"{report}{time.monotonic() - started:.0f} s", flush=True)


def _save(model: ov.Model, file: Path) -> str:
    """Writes a network, the same bytes from run to run; says how large it is.

    The runtime numbers nodes without a name through all that the process made, on several threads at a time, and the quantiser
    names others after them: here by their place.
    A copy holds all nodes, also those that stand for arguments left out.
    """
    model = model.clone()
    for place, node in enumerate(model.get_ordered_ops()):
        node.set_friendly_name(re.sub(r"_[0-9]+(?=/|$)", f"_{place}", node.get_friendly_name()))
    ov.save_model(model, file)
    return f"{(file.stat().st_size + file.with_suffix('.bin').stat().st_size) / 1e6:.1f} MB"


def main(arguments: list[str]) -> int:
    if len(arguments) != 1:
        print("usage: build.py FOLDER", file=sys.stderr)
        return 2
    # The runtime divides its sums among its threads: with another number of them the calibrated ranges differ in their last bits.
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    folder = Path(arguments[0])
    folder.mkdir(parents=True, exist_ok=True)
    print(f"subpixel.py agrees with the plain layers to {subpixel_check.check():.6f} of the range", flush=True)
    for network in NETWORKS:
        build_network(network, folder)
    photo = views(read_photo(PAINTED_PHOTO), PAINTING_SIZE, PAINTING_SIZE)[0]
    write_bytes(repainted(PAINTING_STYLE, [photo])[0], folder / "painting.png")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
