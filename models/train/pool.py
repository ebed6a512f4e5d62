"""The training samples: parts of pictures, and what each teacher makes of them, all kept in memory.

The teachers draw each part once; the small networks see it many times, half of the times with noise as dim light gives it. A fifth of
the parts is what the teachers drew at a place some pixels away, so that a picture that moves keeps its strokes.
"""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from pathlib import Path

import numpy as np
import torch
import torch.nn.functional as F
from PIL import Image, ImageDraw, ImageFont
from torch import Tensor, nn

from student import finished

PART_SIDE = 256
FRAME_HEIGHT, FRAME_WIDTH = 544, 960
DRAWN_COUNT = 40
MOVED_SHARE = 0.2
LARGEST_MOVE = 8
# Pixels that a teacher's border reaches into a part whose own border lies elsewhere.
BORDER = 24


def read_pictures(folder: Path, specks_count: int, rng: np.random.Generator) -> list[np.ndarray]:
    """All pictures of a folder, and made-up ones with text, flat areas, hard edges and specks: bytes blue, green, red."""
    files = sorted(folder.glob("*.jpg"))
    if not files:
        raise FileNotFoundError(f"{folder}: no pictures (train/photos.py gathers them)")
    pictures = []
    for file in files:
        with Image.open(file) as image:
            pictures.append(np.asarray(image.convert("RGB"))[:, :, ::-1].copy())
    return pictures + [_drawn(rng) for _ in range(DRAWN_COUNT)] + [_specks(rng) for _ in range(specks_count)]


def _drawn(rng: np.random.Generator) -> np.ndarray:
    """A made-up picture: a gradient with polygons, lines and words."""
    corners = rng.integers(0, 256, (2, 2, 3)).astype(np.uint8)
    image = Image.fromarray(corners).resize((960, 540), Image.Resampling.BICUBIC)
    draw = ImageDraw.Draw(image)
    for _ in range(rng.integers(5, 30)):
        colour = tuple(int(value) for value in rng.integers(0, 256, 3))
        points = (rng.uniform(0, 1, 2) * (960, 540) + rng.normal(0, 90, (int(rng.integers(2, 6)), 2))).tolist()
        flat = [tuple(point) for point in points]
        if len(flat) > 2 and rng.random() < 0.6:
            draw.polygon(flat, fill=colour)
        else:
            draw.line(flat, fill=colour, width=int(rng.integers(1, 9)))
    for _ in range(rng.integers(0, 25)):
        word = "".join(chr(code) for code in rng.integers(65, 123, int(rng.integers(3, 12))))
        place = tuple(float(value) for value in rng.uniform(0, 1, 2) * (900, 500))
        colour = tuple(int(value) for value in rng.integers(0, 256, 3))
        try:
            font = ImageFont.load_default(float(rng.uniform(10, 60)))
        except TypeError:  # an old Pillow has one size
            font = ImageFont.load_default()
        draw.text(place, word, fill=colour, font=font)
    return np.array(image)


def _specks(rng: np.random.Generator) -> np.ndarray:
    """A made-up picture: cloudy shades, mostly dark, with specks of all sizes on them, like stars, sand or lights."""
    height, width = 540, 960
    picture = np.zeros((height, width, 3), dtype=np.float32)
    for coarseness in (4, 12, 40, 120):
        grid = rng.uniform(0, 1, (coarseness * 9 // 16 + 2, coarseness, 3)).astype(np.float32)
        for plane in range(3):
            clouds = Image.fromarray(grid[:, :, plane]).resize((width, height), Image.Resampling.BICUBIC)
            picture[:, :, plane] += np.asarray(clouds) * float(rng.uniform(0, 40))
    picture *= float(rng.uniform(0.1, 1.5))
    rows, columns = np.mgrid[0:height, 0:width].astype(np.float32)
    for _ in range(int(rng.integers(20, 250))):
        y, x, radius = rng.uniform(0, height), rng.uniform(0, width), float(rng.exponential(2.5)) + 0.6
        top, left, reach = int(y), int(x), int(3 * radius) + 2
        window = np.s_[max(0, top - reach) : top + reach, max(0, left - reach) : left + reach]
        spot = np.exp(-((rows[window] - y) ** 2 + (columns[window] - x) ** 2) / (2 * radius**2))
        picture[window] += spot[:, :, None] * rng.uniform(0, 255, 3).astype(np.float32)
    picture += rng.normal(0, float(rng.uniform(0, 6)), picture.shape).astype(np.float32)
    return np.clip(picture, 0, 255).astype(np.uint8)


def part(picture: Tensor, height: int, width: int, rng: np.random.Generator) -> Tensor:
    """A random part [3, height, width], bytes as floats, at a random scale, mirrored or not, colours a little changed."""
    _, full_height, full_width = picture.shape
    largest = min(full_height / height, full_width / width)
    scale = min(largest, float(np.exp(rng.uniform(np.log(0.45), np.log(2.2)))))
    rows, columns = max(8, int(height * scale)), max(8, int(width * scale))
    y, x = int(rng.integers(0, full_height - rows + 1)), int(rng.integers(0, full_width - columns + 1))
    piece = picture[:, y : y + rows, x : x + columns].float()[None]
    piece = F.interpolate(piece, (height, width), mode="bilinear", align_corners=False, antialias=True)[0]
    if rng.random() < 0.5:
        piece = piece.flip(2)
    if rng.random() < 0.5:
        grey = piece.mean(0, keepdim=True)
        piece = grey + (piece - grey) * float(rng.uniform(0.0, 1.5))
        piece = 255.0 * (piece.clamp(0, 255) / 255.0) ** float(rng.uniform(0.6, 2.2))
        piece = piece * float(rng.uniform(0.7, 1.2))
    return piece.clamp(0, 255).round()


class Pool:
    """Samples of one size: images as bytes, targets by style in half precision, and the weight of each sample's border."""

    def __init__(
        self,
        pictures: Sequence[Tensor],
        teachers: Mapping[str, nn.Module],
        count: int,
        size: tuple[int, int],
        rng: np.random.Generator,
        at_once: int,
    ) -> None:
        height, width = size
        device = pictures[0].device
        self.images = torch.empty(count, 3, height, width, dtype=torch.uint8, device=device)
        self.targets = {
            style: torch.empty(count, 3 if style == "cartoon" else 1, height, width, dtype=torch.float16, device=device)
            for style in teachers
        }
        self.is_moved = torch.zeros(count, dtype=torch.bool, device=device)
        areas = np.array([float(picture.shape[1] * picture.shape[2]) for picture in pictures])
        shares = np.sqrt(areas) / np.sqrt(areas).sum()
        is_frame = height != width
        usable = np.array([picture.shape[2] >= 0.45 * width and picture.shape[1] >= 0.45 * height for picture in pictures])
        shares = shares * usable / (shares * usable).sum()
        for start in range(0, count, at_once):
            end = min(count, start + at_once)
            move = 0 if is_frame or rng.random() >= MOVED_SHARE else LARGEST_MOVE
            chosen = rng.choice(len(pictures), end - start, p=shares)
            images = torch.stack([part(pictures[index], height + move, width + move, rng) for index in chosen])
            planes = images / 127.5 - 1.0
            down, right = (int(rng.integers(0, move + 1)) for _ in range(2))
            window = np.s_[:, :, down : down + height, right : right + width]
            with torch.no_grad():
                for style, teacher in teachers.items():
                    self.targets[style][start:end] = finished(style, teacher(planes), planes)[window].half()
            self.images[start:end] = images[window].to(torch.uint8)
            self.is_moved[start:end] = move > 0

    def border_weights(self, chosen: Tensor) -> Tensor:
        """[samples, 1, height, width]: 0 near the border of moved samples, 1 elsewhere."""
        height, width = self.images.shape[2:]
        inside = torch.zeros(height, width, device=self.images.device)
        inside[BORDER : height - BORDER, BORDER : width - BORDER] = 1.0
        return torch.where(self.is_moved[chosen][:, None, None, None], inside[None, None], torch.ones_like(inside)[None, None])
