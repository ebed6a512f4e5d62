"""Writes models/data, the inputs of the networks' build, measured once in f32.

Usage: calibrate.py, after a change of a float network or of what is quantised. Rounding differs from processor to processor, so
a build that measured these itself would give other bytes on another machine.

ranges.json: for each quantised layer the smallest and largest value that its activation takes, the mean over the calibration
samples of each sample's extremes, to four digits. selftest.json: what the pictures of the programs' selftest look like.
painting.png: the demo's style image.
"""

from __future__ import annotations

import json
import sys

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from calibration import repainted
from networks import DATA, NETWORKS, Inputs, Network
from photos import read_photo, views, write_bytes
from selftest_pictures import selftest_expectations

# Roundings in the first layers reach every later one. Float there gains 3 dB on transfer networks, for a sixteenth of
# the multiplications. The fixed styles' networks have few layers, and computing all of them in 8 bits costs less than their likeness
# to the networks that they learned from.
LEFT_IN_FLOAT = {"transfer": ("contract.", "residual.0.0")}
# Layers that weigh the image itself, from 0 to 2: with this range their 256 levels are its bytes, which loses nothing.
IMAGE_LAYERS = ("stem", "colours")
IMAGE_RANGE = [0.0, 2.0]

# The style image painting.png: this photo (public domain) in this one of the fixed styles, square like the style inputs.
PAINTED_PHOTO = "hubble"
PAINTING_STYLE = 7
PAINTING_SIZE = 512


def measured_ranges(model: ov.Model, samples: list[Inputs], left_in_float: tuple[str, ...]) -> dict[str, list[float]]:
    """The range of each quantised layer's activation."""
    model = model.clone()
    nodes = {node.get_friendly_name(): node for node in model.get_ops()}
    layers = [name.removesuffix("/convolution") for name in nodes if name.endswith("/convolution")]
    layers = sorted(layer for layer in layers if not layer.startswith(left_in_float))
    extremes = []
    for layer in layers:
        activation = nodes.get(f"{layer}/border", nodes[f"{layer}/convolution"]).input_value(0)
        axes = np.array([0, 1, 2, 3])
        extremes += [ops.reduce_min(activation, axes), ops.reduce_max(activation, axes)]
    network = ov.Core().compile_model(
        ov.Model(extremes, model.get_parameters()), "CPU", {"INFERENCE_PRECISION_HINT": "f32"}
    )
    means = np.mean([[float(value) for value in network(sample).values()] for sample in samples], axis=0)
    rounded = [float(f"{value:.4g}") for value in means]
    measured = {layer: rounded[2 * index : 2 * index + 2] for index, layer in enumerate(layers)}
    return measured | {layer: IMAGE_RANGE for layer in IMAGE_LAYERS if layer in measured}


def main() -> int:
    if len(sys.argv) > 1:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    DATA.mkdir(exist_ok=True)
    photo = views(read_photo(PAINTED_PHOTO), PAINTING_SIZE, PAINTING_SIZE)[0]
    write_bytes(repainted(PAINTING_STYLE, [photo])[0], DATA / "painting.png")
    ranges: dict[str, dict[str, list[float]]] = {}
    for network in NETWORKS:
        if network.ranges_name is not None and network.ranges_name not in ranges:
            ranges[network.ranges_name] = _ranges_of(network)
    (DATA / "ranges.json").write_text(json.dumps(ranges, indent=1) + "\n")
    (DATA / "selftest.json").write_text(json.dumps(selftest_expectations(), indent=1) + "\n")
    return 0


def _ranges_of(network: Network) -> dict[str, list[float]]:
    assert network.ranges_name is not None
    print(f"{network.ranges_name}: measuring", flush=True)
    return measured_ranges(network.build(), network.calibration(), LEFT_IN_FLOAT.get(network.ranges_name, ()))


if __name__ == "__main__":
    sys.exit(main())
