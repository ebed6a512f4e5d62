"""Builds the demo networks under the names that the library asks for, each 8-bit twin measured before it counts as built.

Usage: build.py FOLDER. The folder afterwards holds an .xml and a .bin file for each network of `NETWORKS` and for each twin, and
painting.png, a style image for style type 0.
"""

from __future__ import annotations

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
    """One network of the package.

    `samples` is None where the library never asks for an 8-bit twin; `float_form` makes the network without the 8-bit layers that
    it has itself.
    """

    name: str
    build: Callable[[], ov.Model]
    samples: Callable[[], tuple[list[Inputs], list[Inputs]]] | None = None
    picture: Callable[[np.ndarray], np.ndarray] = transfer_picture
    float_form: Callable[[], ov.Model] | None = None


def _transfer_samples(size: int) -> tuple[list[Inputs], list[Inputs]]:
    """Calibration and held-out samples of a square transfer network."""

    def inputs(pairs: list[tuple[np.ndarray, np.ndarray]]) -> list[Inputs]:
        return [{"input_content": content_planes(c), "input_style": style_planes(s)} for c, s in pairs]

    return inputs(calibration_pairs(size, size, size)), inputs(held_out_pairs(size, size, size))


def _fixed_samples() -> tuple[list[Inputs], list[Inputs]]:
    """Calibration and held-out samples of the light-grey network, at its default size."""
    return _image_inputs(calibration_photos(960, 540)), _image_inputs(held_out_photos(960, 540))


def _image_inputs(images: list[np.ndarray]) -> list[Inputs]:
    return [{"input": symmetric_planes(image)} for image in images]


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
    Network("cartoon_model_slim5", cartoon_network, None, symmetric_picture, lambda: cartoon_network(eight_bit_entry=False)),
)


def build_network(network: Network, folder: Path) -> None:
    """Writes one network and, where the library asks for it, its 8-bit twin; what computes in 8 bits is measured."""
    started = time.monotonic()
    model = network.build()
    float_file = folder / f"{network.name}.xml"
    _save(model, float_file)
    report = f"{network.name}: {_size_text(float_file)}"
    core = ov.Core()
    if network.samples is not None:
        calibration, held_out = network.samples()
        twin_file = folder / f"{network.name}_int8.xml"
        _save(quantised(model, calibration), twin_file)
        report += f"; int8 twin {_size_text(twin_file)}, calibrated on {len(calibration)} samples"
        report += _measured(report, network, core.read_model(float_file), core.read_model(twin_file), held_out)
    if network.float_form is not None:
        held_out = _image_inputs(held_out_photos(960, 540))
        report += _measured(report, network, network.float_form(), core.read_model(float_file), held_out)
    print(f"{report} ({time.monotonic() - started:.0f} s)", flush=True)


def _save(model: ov.Model, file: Path) -> None:
    """Writes a network that is the same bytes from run to run.

    The runtime numbers nodes without a name through all that the process made, on several threads at a time: here by their place.
    A copy holds all nodes, also those that stand for arguments left out.
    """
    model = model.clone()
    for place, node in enumerate(model.get_ordered_ops()):
        node.set_friendly_name(re.sub(r"_[0-9]+$", f"_{place}", node.get_friendly_name()))
    ov.save_model(model, file)


def _measured(report: str, network: Network, float_model: ov.Model, twin: ov.Model, held_out: list[Inputs]) -> str:
    """How far the pictures of a network with 8-bit layers are from a float one's; raises where that is too far."""
    figures = twin_psnr(float_model, twin, held_out, network.picture)
    found = f", PSNR against float on {len(figures)} held-out samples: worst {min(figures):.1f} dB, mean {np.mean(figures):.1f} dB"
    if min(figures) < LEAST_PSNR_DB:
        raise RuntimeError(f"{report}{found}: below {LEAST_PSNR_DB:.0f} dB, so it is not shipped")
    return found


def _size_text(file: Path) -> str:
    total_bytes = file.stat().st_size + file.with_suffix(".bin").stat().st_size
    return f"{total_bytes / 1e6:.1f} MB"


def main(arguments: list[str]) -> int:
    if len(arguments) != 1:
        print("usage: build.py FOLDER", file=sys.stderr)
        return 2
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
