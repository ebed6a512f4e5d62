"""The networks that the small ones learn from, in PyTorch, and the finishing that both share.

`export.py` writes their numbers: the trained convolutions with the library's colour order and range folded in, and each mixture's
scales and shifts. Layers are those of `../style_network.py` in their plain form.
"""

from __future__ import annotations

from pathlib import Path

import numpy as np
import torch
import torch.nn.functional as F
from torch import Tensor, nn

EPSILON = 1e-5


class Teacher(nn.Module):
    """Repainted planes, 0 to 1, of images from -1 to 1 whose sides are multiples of 4, in one mixture of styles."""

    def __init__(self, file: Path, style: str) -> None:
        super().__init__()
        with np.load(file) as numbers:
            self.layers = [name.removesuffix(".weights") for name in numbers if name.endswith(".weights")]
            for layer in self.layers:
                for kind, entry in (("weights", "weights"), ("scale", f"{style}.scale"), ("shift", f"{style}.shift")):
                    self.register_buffer(f"{layer}.{kind}".replace(".", "_"), torch.from_numpy(numbers[f"{layer}.{entry}"]))

    def forward(self, x: Tensor) -> Tensor:
        x = F.relu(self._layer(x, "contract.0"))
        x = F.relu(self._layer(x, "contract.1", stride=2))
        x = F.relu(self._layer(x, "contract.2", stride=2))
        for block in range(6):
            x = x + self._layer(F.relu(self._layer(x, f"residual.{block}.0")), f"residual.{block}.1")
        for doubling in range(2):
            x = F.relu(self._layer(F.interpolate(x, scale_factor=2.0), f"expand.{doubling}"))
        return torch.sigmoid(self._layer(x, "expand.2"))

    def _layer(self, x: Tensor, name: str, stride: int = 1) -> Tensor:
        weights, scale, shift = (getattr(self, f"{name}.{kind}".replace(".", "_")) for kind in ("weights", "scale", "shift"))
        border = weights.shape[2] // 2
        x = F.conv2d(F.pad(x, [border] * 4, "reflect"), weights, stride=stride)
        return F.instance_norm(x, weight=scale, bias=shift, eps=EPSILON)
