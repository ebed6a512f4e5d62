"""Style type 0: the style predictor and the transformer as one network with the inputs "input_content" and "input_style".

Both inputs arrive normalised, each in its own way, and the output leaves as the library undoes it; see docs/models.md.
"""

from __future__ import annotations

import numpy as np
import openvino as ov
import openvino.opset13 as ops
from library_way import CONTENT_DEVIATION, CONTENT_MEAN, OUTPUT_DEVIATION, OUTPUT_MEAN, STYLE_DEVIATION, STYLE_MEAN
from style_network import fold_input, mix_planes, reorder_output, repaint
from style_predictor import predict_style
from trained_weights import Convolution, StyleProjection, transformer_layers

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

    def normalisation(name: str) -> tuple[ov.Node, ov.Node] | None:
        if name not in projections:
            return None
        projection = projections[name]
        return _project(vector, projection.scale, f"{name}/style_scale"), _project(
            vector, projection.shift, f"{name}/style_shift"
        )

    picture = mix_planes(repaint(content, layers, normalisation), np.diag(1.0 / OUTPUT_DEVIATION), "planes")
    picture = ops.subtract(picture, _planes(OUTPUT_MEAN / OUTPUT_DEVIATION), name="normalised_planes")
    picture.output(0).set_names({"output"})
    return ov.Model([picture], [content, style], "style_transfer")


def _input(name: str, height: int, width: int) -> ov.Node:
    parameter = ops.parameter([1, 3, height, width], np.float32, name=name)
    parameter.output(0).set_names({name})
    return parameter


def _predictor_image(style: ov.Node, style_size: int) -> ov.Node:
    """The style input as the predictor was trained to see it: red, green, blue, 0 to 1, at its own size."""
    image = ops.multiply(style, _planes(STYLE_DEVIATION / 255.0))
    image = ops.add(image, _planes(STYLE_MEAN / 255.0))
    image = ops.gather(image, np.array(REVERSED), np.array(1), name="style_red_green_blue")
    factor = style_size // PREDICTOR_SIZE
    if factor == 1:
        return image
    window = [factor, factor]
    return ops.avg_pool(image, window, [0, 0], [0, 0], window, False, name="style_averaged")


def _project(vector: ov.Node, projection: Convolution, name: str) -> ov.Node:
    """One normalisation's scale or shift, [1, channels, 1, 1], from the style vector."""
    product = ops.matmul(vector, projection.weights[:, :, 0, 0], False, True, name=f"{name}/product")
    assert projection.bias is not None
    row = ops.add(product, projection.bias.reshape(1, -1), name=f"{name}/row")
    return ops.reshape(row, np.array([1, projection.weights.shape[0], 1, 1]), False, name=name)


def _planes(values: np.ndarray) -> np.ndarray:
    return values.astype(np.float32).reshape(1, 3, 1, 1)
