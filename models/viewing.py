"""Shared by the programs that view built networks: their computations and their command line."""

from __future__ import annotations

import argparse
from pathlib import Path

# Computes as the plain layers do, in 32 bits, on any processor.
F32 = {"INFERENCE_PRECISION_HINT": "f32"}


def networks_and_output(description: str | None) -> tuple[Path, Path]:
    """The networks' folder and the one for pictures, the second one made. Ends the program if the command line is wrong."""
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("networks", type=Path, metavar="NETWORKS", help="the folder of the built networks")
    parser.add_argument("output", type=Path, metavar="OUTPUT", help="the folder for the pictures")
    arguments = parser.parse_args()
    arguments.output.mkdir(parents=True, exist_ok=True)
    return arguments.networks, arguments.output
