"""Paints the two pictures of docs/models.md: all 26 fixed styles, and what the demo networks make of two photos.

Usage: sheet.py NETWORKS OUTPUT. Both show photos that are free to pass on (CC0).
"""

from __future__ import annotations

import sys
from pathlib import Path

import numpy as np
import openvino as ov
from calibration import repainted
from library_way import (
    content_planes,
    resized,
    stretched_picture,
    style_planes,
    symmetric_picture,
    symmetric_planes,
    transfer_picture,
)
from photos import read_bytes, read_photo
from PIL import Image, ImageDraw
from trained_weights import FIXED_STYLE_COUNT

# The size of the photos that the demo networks paint.
WIDTH, HEIGHT = 960, 540
F32 = {"INFERENCE_PRECISION_HINT": "f32"}


def fixed_style_tiles() -> list[tuple[str, np.ndarray]]:
    """A photo and each of the fixed styles on it, at a size at which the strokes show in a small tile."""
    image = resized(read_photo("chelsea"), 512, 288)
    return [("photo", image)] + [(str(style), repainted(style, [image])[0]) for style in range(FIXED_STYLE_COUNT)]


def network_tiles(folder: Path) -> list[tuple[str, np.ndarray]]:
    """Photo, style transfer, light grey and cartoon, for each of two photos."""
    core = ov.Core()
    names = ("ensemble_out_r31_c540p_s512_retrained_autoencoder", "model_lightgrey_v19_int8", "cartoon_model_slim5")
    transfer, grey, cartoon = (core.compile_model(folder / f"{name}.xml", "CPU", F32) for name in names)
    painting = read_bytes(folder / "painting.png")
    tiles = []
    for photo in ("chelsea", "coffee"):
        image = resized(read_photo(photo), WIDTH, HEIGHT)
        inputs = {"input_content": content_planes(image), "input_style": style_planes(painting)}
        tiles += [
            ("photo", image),
            ("type 0", transfer_picture(transfer(inputs)[0])),
            ("type 1", stretched_picture(grey(symmetric_planes(image))[0])),
            ("type 2", symmetric_picture(cartoon(symmetric_planes(image))[0])),
        ]
    return tiles


def write_sheet(tiles: list[tuple[str, np.ndarray]], columns: int, width: int, height: int, file: Path) -> None:
    """Labelled tiles, row by row."""
    sheet = Image.new("RGB", (columns * width, -(-len(tiles) // columns) * height), "white")
    for index, (label, picture) in enumerate(tiles):
        x, y = index % columns * width, index // columns * height
        tile = Image.fromarray(np.ascontiguousarray(picture[:, :, ::-1])).resize((width, height), Image.Resampling.LANCZOS)
        sheet.paste(tile, (x, y))
        ImageDraw.Draw(sheet).text((x + 4, y + 2), label, fill="white", stroke_width=2, stroke_fill="black")
    sheet.save(file, quality=82)


def main(arguments: list[str]) -> int:
    if len(arguments) != 2:
        print("usage: sheet.py NETWORKS OUTPUT", file=sys.stderr)
        return 2
    folder, output = Path(arguments[0]), Path(arguments[1])
    output.mkdir(parents=True, exist_ok=True)
    write_sheet(fixed_style_tiles(), 7, 208, 117, output / "fixed_styles.jpg")
    write_sheet(network_tiles(folder), 4, 320, 180, output / "demo_networks.jpg")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
