"""Style type 0: the style predictor and the transformer as one network with the inputs "input_content" and "input_style".

Both inputs arrive normalised, each in its own way, and the output leaves as the library undoes it; see docs/models.md.
"""

from __future__ import annotations

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from library_way import CONTENT_DEVIATION, CONTENT_MEAN, OUTPUT_DEVIATION, OUTPUT_MEAN, STYLE_DEVIATION, STYLE_MEAN
from style_network import fold_input, reorder_output, repaint
from style_predictor import predict_style
from trained_weights import StyleProjection, transformer_layers

# The library's planes are blue, green, red; the trained networks' are red, green, blue.
REVERSED = [2, 1, 0]
# The predictor was trained on style images of this size. A larger style input is averaged down to it.
PREDICTOR_SIZE = 256


def transfer_network(content_height: int, content_width: int, style_size: int) -> ov.Model:
    """The network for a content of a fixed size, whose sides are multiples of 4, and a square style image."""
    content = _input("input_content", content_height, content_width)
    style = _input("input_style", style_size, style_size)

    vector = predict_style(_predictor_image(style, style_size))
    layers, projections = transformer_layers()
    layers["contract.0"] = fold_input(layers["contract.0"], CONTENT_DEVIATION / 255.0, CONTENT_MEAN / 255.0, REVERSED)
    layers["expand.2"] = reorder_output(layers["expand.2"], REVERSED)
    last = projections["expand.2"]
    projections["expand.2"] = StyleProjection(reorder_output(last.scale, REVERSED), reorder_output(last.shift, REVERSED))

    styles = _scales_and_shifts(vector, projections)
    picture = repaint(content, layers, styles.get, np.diag(1.0 / OUTPUT_DEVIATION))
    picture = ops.subtract(picture, _planes(OUTPUT_MEAN / OUTPUT_DEVIATION), name="normalised_planes")
    picture.output(0).set_names({"output"})
    return ov.Model([picture], [content, style], "style_transfer")


def _input(name: str, height: int, width: int) -> ov.Node:
    parameter = ops.parameter([1, 3, height, width], np.float32, name=name)
    parameter.output(0).set_names({name})
    return parameter


def _predictor_image(style: ov.Node, style_size: int) -> ov.Node:
    """The style input in the form of the predictor's training: red, green, blue, 0 to 1, at its own size."""
    image = ops.multiply(style, _planes(STYLE_DEVIATION / 255.0))
    image = ops.add(image, _planes(STYLE_MEAN / 255.0))
    image = ops.gather(image, np.array(REVERSED), np.array(1), name="style_red_green_blue")
    factor = style_size // PREDICTOR_SIZE
    if factor == 1:
        return image
    window = [factor, factor]
    return ops.avg_pool(image, window, [0, 0], [0, 0], window, False, name="style_averaged")


def _scales_and_shifts(vector: ov.Node, projections: dict[str, StyleProjection]) -> dict[str, tuple[ov.Node, ov.Node]]:
    """Each normalisation's scale and shift, [1, channels, 1, 1] each, all from one product with the style vector."""
    parts = [part for projection in projections.values() for part in (projection.scale, projection.shift)]
    matrix = np.concatenate([part.weights[:, :, 0, 0] for part in parts])
    bias = np.concatenate([part.bias for part in parts if part.bias is not None])
    product = ops.matmul(vector, matrix, False, True, name="style/product")
    column = ops.reshape(ops.add(product, bias[None], name="style/sum"), np.array([1, -1, 1, 1]), False, name="style/column")
    split = ops.variadic_split(column, np.array(1), np.array([len(part.weights) for part in parts]), name="style/parts")
    return {name: (split.output(2 * index), split.output(2 * index + 1)) for index, name in enumerate(projections)}


def _planes(values: np.ndarray) -> np.ndarray:
    return values.astype(np.float32).reshape(1, 3, 1, 1)
