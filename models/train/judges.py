"""Writes the photos that judge the small networks, 960 x 540. Usage: judges.py FOLDER, in the Python environment of models/build."""

from __future__ import annotations

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from photos import JUDGES, read_photo, views, write_bytes  # noqa: E402


def main() -> None:
    folder = Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    for name in JUDGES:
        write_bytes(views(read_photo(name), 960, 540)[0], folder / f"{name}.png")


if __name__ == "__main__":
    main()
