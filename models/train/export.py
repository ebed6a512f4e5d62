"""Writes the teachers' numbers for PyTorch. Usage: export.py FILE.npz, in the Python environment of models/build."""

from __future__ import annotations

import sys
from pathlib import Path

import numpy as np

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from fixed_style import CARTOON_MIX, LIGHT_GREY_MIX, folded_layers, mixed  # noqa: E402


def main() -> None:
    layers, scales, shifts = folded_layers()
    numbers = {f"{name}.weights": layer.weights for name, layer in layers.items()}
    for style, mix in (("light_grey", LIGHT_GREY_MIX), ("cartoon", CARTOON_MIX)):
        for kind, table in (("scale", scales), ("shift", shifts)):
            numbers |= {f"{name}.{style}.{kind}": mixed(table[name], mix).reshape(-1) for name in layers}
    np.savez(sys.argv[1], **numbers)


if __name__ == "__main__":
    main()
