"""The photos for calibrating, measuring and viewing the networks.

They are read from the installed packages scikit-image and scikit-learn, which are not run. No photo is in both lists below: a
twin's figure says something only about pictures that its calibration did not see. Images are bytes in the order blue, green, red.
"""

from __future__ import annotations

from importlib.util import find_spec
from pathlib import Path

import numpy as np
from PIL import Image

SKIMAGE = ("skimage", "data")
SKLEARN = ("sklearn", "datasets/images")

CALIBRATION = {
    "astronaut": (*SKIMAGE, "astronaut.png"),
    "rocket": (*SKIMAGE, "rocket.jpg"),
    "camera": (*SKIMAGE, "camera.png"),
    "hubble": (*SKIMAGE, "hubble_deep_field.jpg"),
    "tissue": (*SKIMAGE, "ihc.png"),
    "flower": (*SKLEARN, "flower.jpg"),
}
HELD_OUT = {
    "chelsea": (*SKIMAGE, "chelsea.png"),
    "coffee": (*SKIMAGE, "coffee.png"),
    "china": (*SKLEARN, "china.jpg"),
}
# On these the small networks are held against those that they learned from; nothing is trained on them. Faces, fur, foliage, buildings,
# night, a flat sky, things indoors, texts and textures.
JUDGES = {
    **HELD_OUT,
    "astronaut": (*SKIMAGE, "astronaut.png"),
    "rocket": (*SKIMAGE, "rocket.jpg"),
    "camera": (*SKIMAGE, "camera.png"),
    "hubble": (*SKIMAGE, "hubble_deep_field.jpg"),
    "flower": (*SKLEARN, "flower.jpg"),
    "motorcycle": (*SKIMAGE, "motorcycle_left.png"),
    "page": (*SKIMAGE, "page.png"),
    "grass": (*SKIMAGE, "grass.png"),
    "coins": (*SKIMAGE, "coins.png"),
    "brick": (*SKIMAGE, "brick.png"),
}


def read_photo(name: str) -> np.ndarray:
    """One photo of the lists, at its own size."""
    package, folder, file = (CALIBRATION | HELD_OUT | JUDGES)[name]
    found = find_spec(package)
    if found is None or found.origin is None:
        raise FileNotFoundError(f"the Python package that carries the photo {name} is not installed (models/build installs it)")
    return read_bytes(Path(found.origin).parent / folder / file)


def read_bytes(file: Path) -> np.ndarray:
    """A picture file as bytes in the order blue, green, red."""
    with Image.open(file) as image:
        return np.ascontiguousarray(np.asarray(image.convert("RGB"))[:, :, ::-1])


def write_bytes(picture: np.ndarray, file: Path) -> None:
    """Writes such bytes as a picture file."""
    Image.fromarray(np.ascontiguousarray(picture[:, :, ::-1])).save(file, optimize=True)


def views(photo: np.ndarray, width: int, height: int) -> list[np.ndarray]:
    """Views of a photo, each with the wanted ratio of sides: the largest middle part, and four mirrored or closer ones."""
    found = [_part(photo, width, height, scale=1.0, across=0.5, down=0.5)]
    for across, down in ((0.0, 0.0), (1.0, 1.0)):
        part = _part(photo, width, height, scale=0.6, across=across, down=down)
        found += [part, part[:, ::-1]]
    return [np.ascontiguousarray(view) for view in found]


def _part(photo: np.ndarray, width: int, height: int, scale: float, across: float, down: float) -> np.ndarray:
    """A part with the ratio width to height, `scale` of the largest such part, placed by two shares of the free room."""
    full = min(photo.shape[1] / width, photo.shape[0] / height) * scale
    part_width, part_height = max(1, int(full * width)), max(1, int(full * height))
    x = int((photo.shape[1] - part_width) * across)
    y = int((photo.shape[0] - part_height) * down)
    part = np.ascontiguousarray(photo[y : y + part_height, x : x + part_width])
    return np.asarray(Image.fromarray(part).resize((width, height), Image.Resampling.BICUBIC))
