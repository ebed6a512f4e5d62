"""Measures a network's float and 8-bit forms on this machine: likeness of pictures, and time."""

from __future__ import annotations

import statistics
import time
from collections.abc import Callable, Mapping, Sequence
from pathlib import Path

import numpy as np
import openvino as ov
from library_way import psnr
from networks import Inputs

TURNS = 15
# Turns end early on a slow machine, but never before this many.
LEAST_TURNS = 5
MOST_SECONDS = 20.0


def precisions() -> list[str]:
    """The precisions that the software device offers here: f32, and bf16 where the processor computes in it."""
    return ["f32"] + (["bf16"] if "BF16" in ov.Core().get_property("CPU", "OPTIMIZATION_CAPABILITIES") else [])


def likeness(
    reference: ov.Model | Path, other: ov.Model | Path, samples: Sequence[Inputs], picture: Callable[[np.ndarray], np.ndarray]
) -> list[float]:
    """The PSNR of the finished pictures of one network against another's, one for each sample, both computed in f32."""
    pictures = [[picture(network(sample)[0]) for sample in samples] for network in (_compiled(reference), _compiled(other))]
    return [psnr(ours, theirs) for theirs, ours in zip(*pictures, strict=True)]


def medians_ms(networks: Mapping[str, Path], sample: Inputs, precision: str) -> dict[str, float]:
    """The median time of an inference of each network, by turns, so that other work of the machine affects all alike."""
    requests = {name: _compiled(file, precision).create_infer_request() for name, file in networks.items()}
    for request in requests.values():
        request.infer(sample)
    times: dict[str, list[float]] = {name: [] for name in requests}
    started = time.monotonic()
    for turn in range(TURNS):
        if turn >= LEAST_TURNS and time.monotonic() - started > MOST_SECONDS:
            break
        for name, request in requests.items():
            before = time.perf_counter()
            request.infer(sample)
            times[name].append((time.perf_counter() - before) * 1000.0)
    return {name: statistics.median(values) for name, values in times.items()}


def _compiled(network: ov.Model | Path, precision: str = "f32") -> ov.CompiledModel:
    return ov.Core().compile_model(network, "CPU", {"INFERENCE_PRECISION_HINT": precision})
