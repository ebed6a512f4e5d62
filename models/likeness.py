"""How like the small networks of the fixed styles are to the large ones that they learned from.

Usage: likeness.py SHEET.jpg. Prints the PSNR of each finished picture of the judges, 960 x 540, on which nothing is trained, and
writes the photos and both pictures of both styles side by side.
"""

from __future__ import annotations

import sys
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from functools import cache
from pathlib import Path

import numpy as np
import openvino as ov
from fixed_style import cartoon_network, light_grey_network
from library_way import psnr, stretched_picture, symmetric_picture, symmetric_planes
from photos import JUDGES, read_photo, views
from small_network import small_cartoon_network, small_light_grey_network

WIDTH, HEIGHT = 960, 540


@dataclass(frozen=True)
class Pair:
    """A small network, the large one that it learned from, and how the library finishes what both return."""

    small: Callable[[], ov.Model]
    large: Callable[[], ov.Model]
    picture: Callable[[np.ndarray], np.ndarray]


PAIRS = {
    "light grey": Pair(small_light_grey_network, light_grey_network, stretched_picture),
    "cartoon": Pair(small_cartoon_network, cartoon_network, symmetric_picture),
}


@cache
def judges() -> dict[str, np.ndarray]:
    """The photos, bytes blue, green, red."""
    return {name: views(read_photo(name), WIDTH, HEIGHT)[0] for name in JUDGES}


def pictures(pair: Pair) -> Iterator[tuple[str, np.ndarray, np.ndarray]]:
    """Each judge's name, and what the small and the large network make of it."""
    small, large = (ov.Core().compile_model(build(), "CPU", {"INFERENCE_PRECISION_HINT": "f32"}) for build in (pair.small, pair.large))
    for name, photo in judges().items():
        planes = symmetric_planes(photo)
        yield name, *(pair.picture(network(planes)[0]) for network in (small, large))


def likenesses(pair: Pair) -> dict[str, float]:
    """The PSNR of the small network's picture of each judge against the large one's."""
    return {name: psnr(small, large) for name, small, large in pictures(pair)}


def main() -> None:
    from sheet import write_sheet

    rows = {name: [("photo", photo)] for name, photo in judges().items()}
    for style, pair in PAIRS.items():
        figures = []
        for name, small, large in pictures(pair):
            figures.append(psnr(small, large))
            rows[name] += [(f"{style}, large", large), (f"small, {figures[-1]:.1f} dB", small)]
        print(f"{style}: mean {np.mean(figures):.2f} dB, worst {min(figures):.2f} dB: ", end="")
        print(", ".join(f"{name} {figure:.1f}" for name, figure in zip(rows, figures, strict=True)))
    del rows["motorcycle"]  # not clearly free to pass on
    write_sheet([tile for row in rows.values() for tile in row], 5, 320, 180, Path(sys.argv[1]))


if __name__ == "__main__":
    main()
