"""Writes the numbers of trained networks as the build reads them.

Usage: collect.py OUTPUT.npz NAME=STUDENTS.npz..., for instance cartoon.16-32x3w=students.npz. The names lose their shapes.
"""

from __future__ import annotations

import sys

import numpy as np


def main() -> None:
    numbers = {}
    for argument in sys.argv[2:]:
        network, file = argument.split("=")
        style = network.split(".")[0]
        with np.load(file) as students:
            found = {name.replace(network, style, 1): students[name] for name in students if name.startswith(f"{network}.")}
        if not found:
            sys.exit(f"collect.py: {file}: holds no network {network}")
        numbers |= found
    # Sorted, and not compressed: the same bytes for the same numbers.
    np.savez(sys.argv[1], **{name: numbers[name] for name in sorted(numbers)})


if __name__ == "__main__":
    main()
