"""Makes the two pictures of docs/models.md: all 26 fixed styles, and the demo networks' results for two photos.

Both show photos that are free to pass on (CC0).
"""

from __future__ import annotations

from pathlib import Path

import library_way
import numpy as np
import openvino as ov
from calibration import repainted
from photos import read_bytes, read_photo
from PIL import Image, ImageDraw
from trained_weights import FIXED_STYLE_COUNT
from viewing import F32, networks_and_output

# The size of the photos that the demo networks restyle.
WIDTH, HEIGHT = 960, 540


def fixed_style_tiles() -> list[tuple[str, np.ndarray]]:
    """A photo and each of the fixed styles on it, at a size at which the strokes show in a small tile."""
    image = library_way.resized(read_photo("chelsea"), 512, 288)
    return [("photo", image)] + [(str(style), repainted(style, [image])[0]) for style in range(FIXED_STYLE_COUNT)]


def network_tiles(folder: Path) -> list[tuple[str, np.ndarray]]:
    """Photo, style transfer, light grey and cartoon, for each of two photos."""
    core = ov.Core()
    names = ("ensemble_out_r31_c540p_s512_retrained_autoencoder", "model_lightgrey_v19_int8", "cartoon_model_slim5")
    transfer, grey, cartoon = (core.compile_model(folder / f"{name}.xml", "CPU", F32) for name in names)
    painting = read_bytes(folder / "painting.png")
    tiles = []
    for photo in ("chelsea", "coffee"):
        image = library_way.resized(read_photo(photo), WIDTH, HEIGHT)
        inputs = {"input_content": library_way.content_planes(image), "input_style": library_way.style_planes(painting)}
        tiles += [
            ("photo", image),
            ("type 0", library_way.transfer_picture(transfer(inputs)[0])),
            ("type 1", library_way.stretched_picture(grey(library_way.symmetric_planes(image))[0])),
            ("type 2", library_way.symmetric_picture(cartoon(library_way.symmetric_planes(image))[0])),
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


def main() -> None:
    folder, output = networks_and_output(__doc__)
    write_sheet(fixed_style_tiles(), 7, 208, 117, output / "fixed_styles.jpg")
    write_sheet(network_tiles(folder), 4, 320, 180, output / "demo_networks.jpg")


if __name__ == "__main__":
    main()
