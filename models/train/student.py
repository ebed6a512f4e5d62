"""The small networks in PyTorch, and the finishing that makes pictures of repainted planes. `../small_network.py` builds the same.

A small network works on a coarse grid, a quarter of the image's size, where one 3 x 3 layer sees as much as 12 x 12 pixels. Residual
blocks there draw the style; where the shape has fine planes, a layer at half the size gives edges back that the coarse grid lost.
Each layer but the last is normalised over the picture, as in the network that it learns from. A cartoon's colours are the photo's,
through a layer of their own that takes noise out of them.
"""

from __future__ import annotations

import re
from dataclasses import dataclass
from functools import cache

import torch
import torch.nn.functional as F
from torch import Tensor, nn

EPSILON = 1e-5
# See `../fixed_style.py`, of which these are copies, since that module needs the runtime.
LIGHTNESS = (0.114, 0.587, 0.299)
CARTOON_STYLE_COLOUR = 0.2
CARTOON_PHOTO_COLOUR = 1.04
LIGHT_GREY_EXPONENT = 0.7
SMALLEST_GREY = 1e-6

PLANES = {"light_grey": 1, "cartoon": 3}


@dataclass(frozen=True)
class Shape:
    """How many planes there are at half and at a quarter of the size, and how many residual blocks."""

    fine: int
    coarse: int
    blocks: int
    wide: bool = False  # the second layer of each block weighs pixels two apart

    @staticmethod
    def parse(text: str) -> Shape:
        """From the form 16-32x3, or 32x3 for no fine planes; with a w at the end for wide blocks."""
        found = re.fullmatch(r"(?:(\d+)-)?(\d+)x(\d+)(w?)", text)
        if found is None:
            raise ValueError(f"{text}: not a shape like 16-32x3")
        return Shape(int(found[1] or 0), int(found[2]), int(found[3]), bool(found[4]))


class Normalised(nn.Module):
    """A 3 x 3 layer, black beyond the border, whose planes are then normalised, scaled and shifted."""

    def __init__(self, planes_in: int, planes_out: int, stride: int = 1, distance: int = 1, scale: float = 1.0) -> None:
        super().__init__()
        self.weights = nn.Parameter(torch.empty(planes_out, planes_in, 3, 3))
        nn.init.kaiming_normal_(self.weights)
        self.scale = nn.Parameter(torch.full((planes_out,), scale))
        self.shift = nn.Parameter(torch.zeros(planes_out))
        self.stride, self.distance = stride, distance

    def forward(self, x: Tensor) -> Tensor:
        x = F.conv2d(x, self.weights, stride=self.stride, padding=self.distance, dilation=self.distance)
        return F.instance_norm(x, weight=self.scale, bias=self.shift, eps=EPSILON)


class Student(nn.Module):
    """Repainted planes, 0 to 1, of images from -1 to 1 whose sides are multiples of 4."""

    def __init__(self, shape: Shape, planes: int) -> None:
        super().__init__()
        self.shape = shape
        coarse, fine = shape.coarse, shape.fine
        if fine:
            self.stem = Normalised(12, fine)
            self.down = Normalised(fine, coarse, stride=2)
            self.up = Normalised(coarse, 4 * fine)
        else:
            self.down = Normalised(48, coarse)
            self.skip = nn.Parameter(torch.zeros(16 * planes, 48, 1, 1))
        distance = 2 if shape.wide else 1
        self.blocks = nn.ModuleList(
            nn.ModuleList([Normalised(coarse, coarse), Normalised(coarse, coarse, distance=distance, scale=0.3)])
            for _ in range(shape.blocks)
        )
        planes_in, planes_out = (fine, 4 * planes) if fine else (coarse, 16 * planes)
        if fine and planes == 3:
            self.colour = nn.Parameter(_colour_layer())
            self.colour_bias = nn.Parameter(torch.zeros(12))
        self.last = nn.Parameter(torch.randn(planes_out, planes_in, 3, 3) * (1.0 / (9 * planes_in)) ** 0.5)
        self.bias = nn.Parameter(torch.zeros(planes_out))

    def picture(self, style: str, image: Tensor) -> Tensor:
        """The finished picture, 0 to 1."""
        if not hasattr(self, "colour"):
            return finished(style, self(image), image)
        colours = F.conv2d(F.pixel_unshuffle(image + 1.0, 2), self.colour, self.colour_bias, padding=1)
        _, shades, _ = _colour_matrices(image.device)
        return torch.einsum("nchw,kc->nkhw", self(image), shades) + F.pixel_shuffle(colours, 2)

    def forward(self, x: Tensor) -> Tensor:
        x = x + 1.0  # black is 0, like all that lies beyond the border
        if self.shape.fine:
            edges = F.relu(self.stem(F.pixel_unshuffle(x, 2)))
            coarse = F.relu(self.down(edges))
        else:
            pixels = F.pixel_unshuffle(x, 4)
            coarse = F.relu(self.down(pixels))
        for first, second in self.blocks:  # type: ignore[misc]
            coarse = coarse + second(F.relu(first(coarse)))
        if self.shape.fine:
            edges = edges + F.relu(F.pixel_shuffle(self.up(coarse), 2))
            return torch.sigmoid(F.pixel_shuffle(F.conv2d(edges, self.last, self.bias, padding=1), 2))
        phases = F.conv2d(coarse, self.last, self.bias, padding=1) + F.conv2d(pixels, self.skip)
        return torch.sigmoid(F.pixel_shuffle(phases, 4))


@cache
def _colour_matrices(device: torch.device) -> tuple[Tensor, Tensor, Tensor]:
    """Lightness, how a cartoon mixes the repainted planes, and how it mixes the photo's."""
    lightness = torch.tensor(LIGHTNESS, device=device)
    identity = torch.eye(3, device=device)
    only_lightness = lightness.expand(3, 3)
    shades = only_lightness * (1.0 - CARTOON_STYLE_COLOUR) + identity * CARTOON_STYLE_COLOUR
    return lightness, shades, 0.5 * CARTOON_PHOTO_COLOUR * (identity - only_lightness)


def _colour_layer() -> Tensor:
    """The photo's colours of a cartoon as a layer on squares of four pixels, which learns to leave noise out."""
    layer = torch.zeros(12, 12, 3, 3)
    _, _, colours = _colour_matrices(torch.device("cpu"))
    for phase in range(4):
        layer[phase::4, phase::4, 1, 1] = colours
    return layer


def finished(style: str, planes: Tensor, image: Tensor) -> Tensor:
    """The picture, 0 to 1, of repainted planes and of the image from -1 to 1 that they were painted from."""
    lightness, shades, colours = _colour_matrices(planes.device)
    if style == "light_grey":
        grey = planes if planes.shape[1] == 1 else torch.einsum("nchw,c->nhw", planes, lightness)[:, None]
        return torch.exp(torch.log(grey.clamp(SMALLEST_GREY, 1.0)) * LIGHT_GREY_EXPONENT)
    return torch.einsum("nchw,kc->nkhw", planes, shades) + torch.einsum("nchw,kc->nkhw", image, colours)
