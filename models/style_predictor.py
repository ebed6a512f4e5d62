"""Builds the style predictor: a MobileNet V2 that turns a style image into the 100 numbers that steer the transformer.

The trained network is walked in order and its layers are rebuilt in float. Its quantise steps, the conversions around them and
its channels-last entry are left out: the runtime's faster precision has no implementation for such a mixture, and new 8-bit twins
are quantised from the float network anyway. Source: Ghiasi, Lee, Kudlur, Dumoulin, Shlens, "Exploring the structure of a
real-time, arbitrary neural artistic stylization network", 2017.
"""

from __future__ import annotations

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from trained_weights import STYLE_VECTOR_LENGTH, read_folded

# The layers that serve only the trained file's 8-bit arithmetic or its layout.
LEFT_OUT = {"FakeQuantize", "Convert", "Subtract", "Multiply", "Transpose", "Reshape", "Maximum"}


def predict_style(image: ov.Node) -> ov.Node:
    """The style vector, [1, 100], of an image in planes red, green, blue, 0 to 1."""
    trained = read_folded("arbitrary_predict.onnx")
    built: dict[str, ov.Node] = {}
    for node in trained.get_ordered_ops():
        kind = node.get_type_name()
        name = node.get_friendly_name()
        if kind == "Constant":
            continue
        if kind == "Parameter":
            built[name] = image
        elif kind == "Result":
            source = built[node.input_value(0).get_node().get_friendly_name()]
            return ops.reshape(source, np.array([1, STYLE_VECTOR_LENGTH]), False, name="style_vector")
        else:
            built[name] = _rebuild(node, _operands(node, built))
    raise ValueError("the style predictor has no result")


def _operands(node: ov.Node, built: dict[str, ov.Node]) -> list[ov.Node | np.ndarray]:
    """The inputs of a trained layer, as rebuilt layers or as the numbers of a constant."""
    operands: list[ov.Node | np.ndarray] = []
    for value in node.input_values():
        source = value.get_node()
        constant = source.get_type_name() == "Constant"
        operands.append(np.array(source.data) if constant else built[source.get_friendly_name()])
    return operands


def _rebuild(node: ov.Node, operands: list[ov.Node | np.ndarray]) -> ov.Node:
    """One trained layer in float; for a layer that is left out, its input."""
    kind = node.get_type_name()
    name = f"predictor/{node.get_friendly_name()}"
    if kind in LEFT_OUT:
        (source,) = (operand for operand in operands if not isinstance(operand, np.ndarray))
        return source
    attributes = node.get_attributes()
    if kind in ("Convolution", "GroupConvolution"):
        build = ops.convolution if kind == "Convolution" else ops.group_convolution
        window = [attributes[key] for key in ("strides", "pads_begin", "pads_end", "dilations")]
        return build(operands[0], operands[1], *window, name=name)
    if kind == "Add":
        return ops.add(operands[0], operands[1], name=name)
    if kind == "Minimum":
        return ops.clamp(next(o for o in operands if not isinstance(o, np.ndarray)), 0.0, 6.0, name=name)
    if kind == "ReduceMean":
        return ops.reduce_mean(operands[0], np.array([2, 3]), keep_dims=True, name=name)
    raise ValueError(f"the style predictor has a layer of the unknown kind {kind}")
