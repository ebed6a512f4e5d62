"""Makes a network's 8-bit twin: 8-bit activations and 7-bit weights around the trained convolutions, from measured ranges.

Activations are bytes from 0 to 255, weights are whole numbers from -63 to 63 with one scale for each output channel. A processor
without VNNI adds pairs of products in 16 bits, with saturation. 2 x 255 x 63 = 32,130 fits, so such a processor computes the same
sums as one with VNNI; `overflow_check.py` proves it for a finished network.

The ranges of the activations come from `data/ranges.json`, which `calibrate.py` writes. The build measures nothing that ends up in
a twin, so a twin has the same bytes whatever processor builds it.

Only the convolutions that the ranges name are quantised. What a normalisation is multiplied with spans a wide range: quantising it
costs 12 dB on transfer networks. The finishing after the last layer stays in float too, since its rounding would be visible as it
is. Phases are rounded after they are interleaved, because the runtime interleaves bytes in three times the time of floats.
"""

from __future__ import annotations

from collections.abc import Mapping

import numpy as np
import openvino as ov
import openvino.opset13 as ops

ACTIVATION_LEVELS = 256
LARGEST_WEIGHT = 63

# The smallest and largest value of a convolution's activation, by the convolution's name. Layer names are those of
# `style_network.py`, without "/convolution".
Ranges = Mapping[str, tuple[float, float]]

def quantised(model: ov.Model, ranges: Ranges, whole_number_weights: bool = True) -> ov.Model:
    """Returns the 8-bit twin of a float network, whose constants stay as stored.

    Without `whole_number_weights` the rounded weights are stored as floats. The runtime then computes the same rounded numbers in
    32-bit floats, which shows what the twin is worth in exact arithmetic.
    """
    twin = model.clone()
    nodes = {node.get_friendly_name(): node for node in twin.get_ops()}
    for layer, (low, high) in ranges.items():
        convolution = nodes[f"{layer}/convolution"]
        _round_activation(nodes.get(f"{layer}/border", convolution).input(0), low, high, layer)
        weights = _constant(convolution.input_value(1).get_node())
        convolution.input(1).replace_source_output(_rounded_weights(weights, layer, whole_number_weights))
    return twin


def _round_activation(activation: ov.Input, low: float, high: float, layer: str) -> None:
    """Rounds a convolution's input to 256 levels, one of which is 0."""
    step = (high - low) / (ACTIVATION_LEVELS - 1)
    zero_point = round(-low / step)
    bounds = np.float32(-zero_point * step), np.float32((ACTIVATION_LEVELS - 1 - zero_point) * step)
    rounded = ops.fake_quantize(activation.get_source_output(), *bounds, *bounds, ACTIVATION_LEVELS, name=f"{layer}/bytes")
    activation.replace_source_output(rounded.output(0))


def _constant(node: ov.Node) -> np.ndarray:
    """A constant's numbers, also of one that is stored in half precision and converted."""
    if node.get_type_name() == "Convert":
        node = node.input_value(0).get_node()
    return np.array(node.data, dtype=np.float32)


def _rounded_weights(weights: np.ndarray, layer: str, as_whole_numbers: bool) -> ov.Output:
    """The weights as whole numbers times one scale for each output channel."""
    largest = np.abs(weights).max(axis=(1, 2, 3), keepdims=True)
    scales = (np.maximum(largest, np.finfo(np.float32).tiny) / np.float32(LARGEST_WEIGHT)).astype(np.float32)
    whole = np.clip(np.rint(weights / scales), -LARGEST_WEIGHT, LARGEST_WEIGHT).astype(np.int8)
    if not as_whole_numbers:
        return ops.constant(whole.astype(np.float32) * scales, name=f"{layer}/weights").output(0)
    numbers = ops.convert(ops.constant(whole, name=f"{layer}/whole_weights"), "f32", name=f"{layer}/float_weights")
    return ops.multiply(numbers, scales, name=f"{layer}/weights").output(0)
