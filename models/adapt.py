"""Fits a network of your own to style type 1 or 2 of the library; docs/models.md describes those types.

Usage: adapt.py NETWORK OUTPUT.xml [--type 1|2] [--range LOW,HIGH] [--bgr] [--one-hot INPUT=INDEX]...

NETWORK, an ONNX file or OpenVINO IR, takes one image, [1, 3, height, width], and gives one. Both have planes red, green, blue
(`--bgr`: blue, green, red) with values 0 to 1 (`--range`: others). `--one-hot` fixes a further input, a vector that chooses among
trained styles, to one of them. Type 2 is the default.
"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

import numpy as np
import openvino as ov
import openvino.opset13 as ops

DEFAULT_SHAPE = [1, 3, 540, 960]


def fix_one_hot(model: ov.Model, name: str, index: int) -> None:
    """Replaces an input that chooses a style by a constant choice."""
    port = model.input(name)
    choice = np.zeros(port.shape, dtype=np.float32)
    choice.reshape(-1)[index] = 1.0
    parameter = port.get_node()
    for target in port.get_target_inputs():
        target.replace_source_output(ops.constant(choice).output(0))
    model.remove_parameter(parameter)


def adapted(model: ov.Model, style_type: int, low: float, high: float, planes_reversed: bool) -> ov.Model:
    """The network with the library's input, -1 to 1 in planes blue, green, red, and the output of its style type."""
    if len(model.inputs) != 1 or len(model.outputs) != 1:
        raise ValueError(f"the network has {len(model.inputs)} inputs and {len(model.outputs)} outputs: wanted is one of each")
    image = ops.parameter([1, 3, -1, -1], np.float32, name="input")
    image.output(0).set_names({"input"})
    half = (high - low) / 2.0
    values = ops.add(ops.multiply(image, np.float32(half)), np.float32(low + half))
    if planes_reversed:
        values = ops.gather(values, np.array([2, 1, 0]), np.array(1))
    old_input = model.inputs[0]
    for target in old_input.get_target_inputs():
        target.replace_source_output(values.output(0))

    picture = model.outputs[0].get_node().input_value(0)
    if planes_reversed:
        picture = ops.gather(picture, np.array([2, 1, 0]), np.array(1)).output(0)
    if style_type == 2:
        picture = ops.multiply(ops.subtract(picture, np.float32(low + half)), np.float32(1.0 / half)).output(0)
    result = ops.convert(picture, "f32")
    result.output(0).set_names({"output"})
    found = ov.Model([result], [image], "adapted")
    found.reshape(DEFAULT_SHAPE)
    return found


def main() -> int:
    parser = argparse.ArgumentParser(description="Fits a network of your own to style type 1 or 2 of the library.")
    parser.add_argument("network", type=Path)
    parser.add_argument("output", type=Path, help="an .xml file; the weights go beside it, as .bin")
    parser.add_argument("--type", type=int, choices=(1, 2), default=2)
    parser.add_argument("--range", default="0,1", metavar="LOW,HIGH")
    parser.add_argument("--bgr", action="store_true", help="the network's planes are blue, green, red")
    parser.add_argument("--one-hot", action="append", default=[], metavar="INPUT=INDEX")
    arguments = parser.parse_args()
    try:
        if not arguments.network.is_file():
            raise ValueError(f"there is no file '{arguments.network}'")
        model = ov.Core().read_model(arguments.network)
        for choice in arguments.one_hot:
            name, _, index = choice.rpartition("=")
            fix_one_hot(model, name, int(index))
        low, high = (float(value) for value in arguments.range.split(","))
        ov.save_model(adapted(model, arguments.type, low, high, not arguments.bgr), arguments.output)
    except (ValueError, IndexError, RuntimeError, OSError) as failure:
        # The runtime's messages begin with positions in its own source; the last line is the reason.
        print(f"adapt.py: {str(failure).strip().splitlines()[-1]}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
