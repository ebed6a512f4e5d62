"""Proves by arithmetic that a network's 8-bit convolutions give the same sums on every processor.

Without VNNI, x86-64 processors multiply bytes (0 to 255) by signed bytes and add pairs of neighbouring products in 16 bits, with
saturation. A pair fits when 2 x 255 x |weight| <= 32,767, that is, when no weight is beyond 64: weights of 7 bits. A network with
larger weights is drawn wrongly there, without any error. Usage: overflow_check.py NETWORK.xml...
"""

from __future__ import annotations

import sys

import numpy as np
import openvino as ov

LARGEST_ACTIVATION = 255
LARGEST_SUM = 32_767
# Each turns a quantised tensor into a quantised tensor.
PASSING = {"Pad", "Reshape", "Transpose", "Squeeze", "Unsqueeze", "Relu", "Clamp", "MaxPool", "DepthToSpace", "Concat"}


def overflowing_layers(model: ov.Model) -> list[str]:
    """The quantised layers whose pairs of products can leave 16 bits, each with its largest weight."""
    found = []
    for node in model.get_ordered_ops():
        if node.get_type_name() not in ("Convolution", "GroupConvolution", "MatMul"):
            continue
        for activation, weights in ((0, 1), (1, 0)) if node.get_type_name() == "MatMul" else ((0, 1),):
            whole = _whole_weights(node.input_value(weights).get_node())
            if whole is None or not _is_quantised(node.input_value(activation).get_node()):
                continue
            largest = int(np.abs(whole).max())
            if 2 * LARGEST_ACTIVATION * largest > LARGEST_SUM:
                found.append(f"{node.get_friendly_name()} (weights up to {largest})")
    return found


def _is_quantised(node: ov.Node) -> bool:
    """Whether a node's output was rounded to 8 bits."""
    kind = node.get_type_name()
    if kind in PASSING:
        return _is_quantised(node.input_value(0).get_node())
    return kind == "FakeQuantize" and node.get_attributes()["levels"] <= LARGEST_ACTIVATION + 1


def _whole_weights(node: ov.Node) -> np.ndarray | None:
    """The whole numbers that stand for a layer's weights; None if the weights are floats."""
    kind = node.get_type_name()
    if kind in ("Reshape", "Transpose"):
        return _whole_weights(node.input_value(0).get_node())
    if kind == "FakeQuantize":
        return _rounded_by(node)
    if kind == "Multiply":
        return _whole_numbers(node.input_value(0).get_node())
    return None


def _whole_numbers(node: ov.Node) -> np.ndarray | None:
    """The numbers of Constant, Convert and, if there is one, Subtract of a zero point."""
    if node.get_type_name() == "Subtract":
        numbers = _whole_numbers(node.input_value(0).get_node())
        return None if numbers is None else numbers - _values(node.input_value(1).get_node())
    if node.get_type_name() != "Convert":
        return None
    constant = node.input_value(0).get_node()
    is_byte = constant.get_type_name() == "Constant" and constant.get_element_type() in (ov.Type.i8, ov.Type.u8)
    return np.array(constant.data, dtype=np.int64) if is_byte else None


def _rounded_by(node: ov.Node) -> np.ndarray | None:
    """The whole numbers that a FakeQuantize makes of constant weights, 0 standing for the weight 0."""
    operands = [_values(node.input_value(index).get_node()) for index in range(5)]
    if any(operand is None for operand in operands):
        return None
    weights, low, high, output_low, output_high = (np.asarray(operand, dtype=np.float64) for operand in operands)
    last = node.get_attributes()["levels"] - 1
    level = np.rint((np.clip(weights, low, high) - low) / (high - low) * last)
    return level - np.rint(-output_low / (output_high - output_low) * last)


def _values(node: ov.Node) -> np.ndarray | None:
    """The numbers of a constant, also of one that is stored in fewer bits and converted."""
    while node.get_type_name() == "Convert":
        node = node.input_value(0).get_node()
    return np.array(node.data) if node.get_type_name() == "Constant" else None


def main(files: list[str]) -> int:
    if not files:
        print("usage: overflow_check.py NETWORK.xml...", file=sys.stderr)
        return 2
    status = 0
    for file in files:
        for layer in overflowing_layers(ov.Core().read_model(file)):
            print(f"{file}: {layer}: pairs of products can leave 16 bits: quantise it with weights of 7 bits")
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
