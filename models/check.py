"""Runs the built networks on held-out photos as the library runs them, checks the library's requirements, and writes pictures.

Checks: each network compiles with an empty property map; its inputs have the names and sizes that its file name promises;
reshaped to even, odd and tiny sizes, types 1 and 2 give a picture of the input's own size; the runtime's own conversion of bytes
agrees with `library_way.py`, and so does the precision that the device chooses, as far as it can.
"""

from __future__ import annotations

from pathlib import Path

import numpy as np
import openvino as ov
from library_way import (
    CONTENT_DEVIATION,
    CONTENT_MEAN,
    content_planes,
    psnr,
    resized,
    stretched_picture,
    style_planes,
    symmetric_picture,
    symmetric_planes,
    transfer_picture,
)
from openvino.preprocess import ColorFormat, PrePostProcessor
from photos import HELD_OUT, read_bytes, read_photo, write_bytes
from viewing import F32, networks_and_output

TRANSFER_SIZES = {  # content width, content height, style size
    "ensemble_out_r31_512_retrained_autoencoder": (512, 512, 512),
    "ensemble_out_r31_512_retrained_autoencoder_int8": (512, 512, 512),
    "ensemble_out_r31_256_retrained_autoencoder": (256, 256, 256),
    "ensemble_out_r31_256_retrained_autoencoder_int8": (256, 256, 256),
    "ensemble_out_r31_c540p_s512_retrained_autoencoder": (960, 540, 512),
}
IMAGE_NETWORKS = {
    "model_lightgrey_v19": stretched_picture,
    "model_lightgrey_v19_int8": stretched_picture,
    "cartoon_model_slim5": symmetric_picture,
}
# Width and height, even, odd and tiny; every photo at the first.
SIZES = ((960, 540), (1920, 1080), (961, 543), (64, 48), (33, 35))
# In f32 only the conversion of bytes through 16-bit floats differs, and a twin's rounding enlarges the difference.
LEAST_F32_DB = 35.0
# In bfloat16 the style predictor's rounding shifts the colours a little; an exchanged plane or a wrong range is far below this.
LEAST_DEFAULT_DB = 20.0


class Agreement:
    """Collects the differences of pictures made as in the library from plainly computed ones."""

    def __init__(self, name: str) -> None:
        self.name = name
        self.f32: list[float] = []
        self.default: list[float] = []

    def add(self, plain: np.ndarray, f32: np.ndarray, default: np.ndarray) -> None:
        self.f32.append(psnr(f32, plain))
        self.default.append(psnr(default, plain))

    def report(self) -> None:
        f32, default = min(self.f32), min(self.default)
        print(f"{self.name}: compiles; agrees with plain numpy to {f32:.1f} dB in f32, {default:.1f} dB by default", flush=True)
        if f32 < LEAST_F32_DB or default < LEAST_DEFAULT_DB:
            raise AssertionError(f"{self.name}: below {LEAST_F32_DB:.0f} dB in f32 or {LEAST_DEFAULT_DB:.0f} dB by default")


def library_network(core: ov.Core, file: Path, shape: list[int] | None, properties: dict[str, str]) -> ov.CompiledModel:
    """Puts the library's conversions into the network and compiles it."""
    model = core.read_model(file)
    if shape is not None:
        model.reshape(shape)
    processor = PrePostProcessor(model)
    transfer = len(model.inputs) == 2
    image = processor.input("input_content") if transfer else processor.input()
    image.tensor().set_element_type(ov.Type.u8).set_layout(ov.Layout("NHWC")).set_color_format(ColorFormat.BGR)
    steps = image.preprocess().convert_color(ColorFormat.BGR).convert_element_type(ov.Type.f16)
    if transfer:
        steps.mean(CONTENT_MEAN.tolist()).scale(CONTENT_DEVIATION.tolist())
        processor.input("input_style").model().set_layout(ov.Layout("NCHW"))
    else:
        steps.mean(127.5).scale([127.5, 127.5, 127.5])
    image.model().set_layout(ov.Layout("NCHW"))
    processor.output().tensor().set_element_type(ov.Type.f32)
    return core.compile_model(processor.build(), "CPU", properties)


def check_transfer(core: ov.Core, folder: Path, output: Path, name: str) -> None:
    """One network of style type 0, on every held-out photo."""
    width, height, style_size = TRANSFER_SIZES[name]
    file = folder / f"{name}.xml"
    model = core.read_model(file)
    shapes = {port.any_name: list(port.shape) for port in model.inputs}
    wanted = {"input_content": [1, 3, height, width], "input_style": [1, 3, style_size, style_size]}
    if shapes != wanted or list(model.output().shape) != [1, 3, height, width]:
        raise AssertionError(f"{name}: inputs {shapes}, output {model.output().shape}")

    networks = [library_network(core, file, None, properties) for properties in (F32, {})]
    reference = core.compile_model(core.read_model(file), "CPU", F32)
    style = style_planes(resized(read_bytes(folder / "painting.png"), style_size, style_size))
    agreement = Agreement(name)
    for photo in HELD_OUT:
        content = resized(read_photo(photo), width, height)
        plain = transfer_picture(reference({"input_content": content_planes(content), "input_style": style})[0])
        inputs = {"input_content": content[None], "input_style": style}
        agreement.add(plain, *(transfer_picture(network(inputs)[0]) for network in networks))
        write_bytes(plain, output / f"{name}_{photo}.png")
    agreement.report()


def check_image_network(core: ov.Core, folder: Path, output: Path, name: str) -> None:
    """One network of style type 1 or 2, at every size."""
    file = folder / f"{name}.xml"
    to_picture = IMAGE_NETWORKS[name]
    agreement = Agreement(name)
    for width, height in SIZES:
        shape = [1, 3, height, width]
        networks = [library_network(core, file, shape, properties) for properties in (F32, {})]
        model = core.read_model(file)
        model.reshape(shape)
        reference = core.compile_model(model, "CPU", F32)
        for photo in HELD_OUT if (width, height) == SIZES[0] else list(HELD_OUT)[:1]:
            image = resized(read_photo(photo), width, height)
            tensor = reference(symmetric_planes(image))[0]
            if list(tensor.shape) != shape:
                raise AssertionError(f"{name}: {tensor.shape} for an image of {width} x {height}")
            agreement.add(to_picture(tensor), *(to_picture(network(image[None])[0]) for network in networks))
            write_bytes(to_picture(tensor), output / f"{name}_{photo}_{width}x{height}.png")
    agreement.report()


def main() -> None:
    folder, output = networks_and_output(__doc__)
    core = ov.Core()
    for name in TRANSFER_SIZES:
        check_transfer(core, folder, output, name)
    for name in IMAGE_NETWORKS:
        check_image_network(core, folder, output, name)


if __name__ == "__main__":
    main()
