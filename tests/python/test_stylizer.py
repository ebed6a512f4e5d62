"""Frames in memory: bytes, arrays, options."""

import numpy as np
import pytest
import vorin_stt as vs
from conftest import FORMATS, HEIGHT, STYLES, WIDTH, needs_models, padded, scene


def make(style, pictures, **options):
    if style == "transfer":
        options["style_image"] = pictures["style_image"]
    return vs.Stylizer(style, device="software", **options)


def yuyv_of(bgra):
    """Video-range BT.601, computed plainly: the chroma of a pair is the mean of both pixels'."""
    blue, green, red = (bgra[..., channel].astype(float) for channel in range(3))
    luma = 16 + (65.481 * red + 128.553 * green + 24.966 * blue) / 255
    u = 128 + (-37.797 * red - 74.203 * green + 112.0 * blue) / 255
    v = 128 + (112.0 * red - 93.786 * green - 18.214 * blue) / 255
    result = np.empty((*bgra.shape[:2], 2))
    result[..., 0] = luma
    result[:, 0::2, 1] = (u[:, 0::2] + u[:, 1::2]) / 2
    result[:, 1::2, 1] = (v[:, 0::2] + v[:, 1::2]) / 2
    return result


@pytest.mark.parametrize("format", FORMATS)
@pytest.mark.parametrize("style", STYLES)
def test_bytes_are_those_of_the_c_functions(style, format, pictures, c_door):
    expected = c_door[f"{style} {format}"]
    if format == "bgr24" and style in ("pencil", "stipple"):  # whose C functions take and write it red first
        expected = c_door[f"{style} bgra"][..., :3]
    frame = pictures[format].copy()
    with make(style, pictures) as stylizer:
        result = stylizer(frame, format=format)
    assert np.array_equal(frame, pictures[format]), "the frame was written to"
    if format == "yuyv422":  # the C functions write it in full range
        assert np.abs(result - yuyv_of(expected)).max() <= 1.6  # coefficients of 3 digits, and rounding
    else:
        assert np.array_equal(result, expected)


@pytest.mark.parametrize("format", (*FORMATS, "rgb24"))
@pytest.mark.parametrize("style", ["stipple", pytest.param("cartoon", marks=needs_models)])
def test_rows_may_have_space_between_them(style, format, pictures):
    """As input and output, at any address, read-only; nothing outside the frame is written to."""
    plain = pictures["bgr24"][..., ::-1].copy() if format == "rgb24" else pictures[format]
    with make(style, pictures) as stylizer:
        expected = stylizer(plain, format=format)
        if format == "rgb24":
            assert np.array_equal(expected[..., ::-1], stylizer(pictures["bgr24"], format="bgr24"))
        frame, frame_memory = padded(plain)
        before = frame_memory.copy()
        frame.flags.writeable = False
        out, memory = padded(np.zeros_like(plain))
        assert stylizer(frame, format=format, out=out) is out
    assert np.array_equal(out, expected) and np.array_equal(frame_memory, before)
    out[:] = 0xA5
    assert (memory == 0xA5).all()


class Interface:
    """Nothing but an array interface."""

    def __init__(self, array):
        self.array = array
        self.__array_interface__ = array.__array_interface__


def test_other_arrays_are_taken(pencil, pictures):
    from PIL import Image

    bgra, rgba = pictures["bgra"], pictures["rgba"]
    expected = pencil(bgra)
    assert np.array_equal(pencil(memoryview(bgra.tobytes()).cast("B", bgra.shape)), expected)
    assert np.array_equal(pencil(Interface(bgra)), expected)
    assert np.array_equal(pencil(Image.fromarray(rgba))[..., [2, 1, 0, 3]], expected)
    assert np.array_equal(pencil(Image.fromarray(rgba[..., :3]))[..., ::-1], expected[..., :3])
    written = memoryview(bytearray(bgra.size)).cast("B", bgra.shape)
    assert pencil(bgra, out=written) is written
    assert np.array_equal(np.asarray(written), expected)


GOOD = scene()
READ_ONLY = scene()
READ_ONLY.flags.writeable = False
REFUSED = {
    "float": (GOOD.astype(np.float32), {}, "float32: use uint8"),
    "signed": (GOOD.astype(np.int8), {}, "int8: use uint8"),
    "bool": (GOOD > 3, {}, "bool: use uint8"),
    "two dimensions": (GOOD[..., 0], {}, r"\(50, 66\): bgra has \(height, width, 4\)"),
    "four dimensions": (GOOD[None], {}, "bgra has"),
    "three channels": (GOOD[..., :3], {}, "bgra has"),
    "no format": (GOOD, {"format": "bgr"}, "unknown format 'bgr': use one of bgra, rgba"),
    "format of another type": (GOOD, {"format": 4}, "unknown format 4"),
    "rows upwards": (GOOD[::-1], {}, "run backwards.*ascontiguousarray"),
    "columns backwards": (GOOD[:, ::-1], {}, "ascontiguousarray"),
    "channels backwards": (GOOD[..., ::-1], {}, "ascontiguousarray"),
    "every second column": (GOOD[:, ::2], {}, "ascontiguousarray"),
    "turned": (GOOD.transpose(1, 0, 2), {}, "ascontiguousarray"),
    "one row again and again": (np.broadcast_to(GOOD[:1], GOOD.shape), {}, "overlap"),
    "overlapping rows": (np.lib.stride_tricks.as_strided(GOOD, (9, 60, 4), (8, 4, 1)), {}, "overlap"),
    "no rows": (GOOD[:0], {}, "66 pixels wide and 0 high"),
    "no columns": (GOOD[:, :0], {}, "0 pixels wide"),
    "wide": (np.zeros((1, 16385, 4), np.uint8), {}, "16385 pixels wide"),
    "many pixels": (np.broadcast_to(np.zeros((1, 1, 4), np.uint8), (1 << 40, 1 << 20, 4)), {}, "use sides"),
    "nv12 of 65 columns": (np.zeros((75, 65), np.uint8), {"format": "nv12"}, "even sides"),
    "nv12 of 25 rows": (np.zeros((75 // 2, 66), np.uint8)[:36], {"format": "nv12"}, None),
    "nv12 of 50 rows": (np.zeros((50, 66), np.uint8), {"format": "nv12"}, "nv12 has"),
    "yuyv422 of 65 columns": (np.zeros((50, 65, 2), np.uint8), {"format": "yuyv422"}, "even sides"),
    "list": (GOOD.tolist(), {}, "a list: use a numpy array"),
    "None": (None, {}, "a NoneType"),
    "text": ("photo.png", {}, "a str"),
    "bytes": (GOOD.tobytes(), {}, "bgra has"),
    "out of another size": (
        GOOD,
        {"out": np.zeros((50, 64, 4), np.uint8)},
        r"out has the shape \(50, 64, 4\): the result has \(50, 66, 4\)",
    ),
    "out of another type": (GOOD, {"out": np.zeros((50, 66, 4), np.uint16)}, "out has the type uint16"),
    "read-only out": (GOOD, {"out": READ_ONLY}, "out cannot be written to"),
    "bytes as out": (GOOD, {"out": memoryview(GOOD.tobytes()).cast("B", GOOD.shape)}, "out cannot be written to"),
    "out that runs upwards": (GOOD, {"out": scene()[::-1]}, "out has the strides"),
    "out in the frame": (GOOD, {"out": GOOD}, "shares memory"),
    "strength beyond 1": (GOOD, {"strength": 1.5}, "strength of 1.5"),
    "strength that is no number": (GOOD, {"strength": float("nan")}, "strength of"),
}


@pytest.mark.parametrize("case", REFUSED)
def test_frames_that_are_refused(case, pencil):
    frame, options, words = REFUSED[case]
    if words is None:
        assert pencil(frame, **options).shape == frame.shape
        return
    with pytest.raises(vs.FrameError, match=words) as raised:
        pencil(frame, **options)
    assert isinstance(raised.value, (vs.VorinError, ValueError))


def test_a_picture_of_pillow_keeps_its_meaning(pencil):
    from PIL import Image

    for mode, options, hint in (
        ("L", {}, r"convert\('RGB'\)"),
        ("P", {}, r"convert\('RGB'\)"),
        ("RGB", {"format": "bgra"}, "leave format out"),
        ("RGB", {"format": "rgba"}, r"convert\('RGBA'\)"),
        ("RGBA", {"format": "rgb24"}, r"convert\('RGB'\)"),
    ):
        with pytest.raises(vs.FrameError, match=f"mode '{mode}'.*{hint}"):
            pencil(Image.new(mode, (32, 32)), **options)


OPTIONS = {
    "style": ({"style": "sepia"}, vs.VorinError, "unknown style 'sepia': use one of pencil, stipple"),
    "device": ({"device": "gpu"}, vs.VorinError, "unknown device 'gpu'"),
    "precision": ({"precision": "f16"}, vs.VorinError, "unknown precision"),
    "size": ({"size": 5}, vs.VorinError, "use .width, height."),
    "size of floats": ({"size": (6.5, 5)}, vs.VorinError, "whole numbers"),
    "size of zero": ({"size": (0, 5)}, vs.VorinError, "sides of 1 to 16384"),
    "style image": ({"style_image": GOOD}, vs.VorinError, "transfer only"),
    "network": ({"style": "transfer", "network": "300"}, vs.VorinError, "no network '300'"),
    "other device": ({"device": "discrete"}, vs.DeviceError, "no discrete GPU here.*python -m vorin_stt devices"),
    "models": ({"style": "cartoon", "models": "/none"}, vs.ModelError, "models '/none' is not a folder"),
    "models of another type": ({"style": "cartoon", "models": 5}, vs.VorinError, "models 5 is not a path"),
}


@pytest.mark.parametrize("case", OPTIONS)
def test_options_that_are_refused(case):
    options, kind, words = OPTIONS[case]
    with pytest.raises(kind, match=words) as raised:
        vs.Stylizer(**options)
    assert "--" not in str(raised.value)


def test_a_style_image_for_a_style_that_takes_none(pencil):
    with pytest.raises(vs.VorinError, match="transfer only: 'pencil' takes none"):
        pencil.style_image = GOOD


def test_without_a_package_of_networks(tmp_path, monkeypatch):
    monkeypatch.delenv("VORIN_STT_MODELS")
    with pytest.raises(vs.ModelError, match="pip install vorin-stt-models"):
        vs.Stylizer("cartoon")
    (tmp_path / "vorin_stt_models").mkdir()
    (tmp_path / "vorin_stt_models/model_st.bin").write_bytes(b"no package")
    monkeypatch.syspath_prepend(tmp_path)
    with pytest.raises(vs.ModelError, match=f"'{tmp_path}/vorin_stt_models/model_st.bin' is not a complete model package"):
        vs.Stylizer("cartoon")


def test_a_result_of_another_size(pictures):
    with vs.Stylizer("pencil", size=(132, 100)) as stylizer:
        for format, shape in (("bgra", (100, 132, 4)), ("bgr24", (100, 132, 3)), ("nv12", (150, 132))):
            assert stylizer(pictures[format], format=format).shape == shape
    with vs.Stylizer("pencil", size=(65, 50)) as stylizer, pytest.raises(vs.FrameError, match="65 pixels wide.*even sides"):
        stylizer(pictures["nv12"], format="nv12")


def test_strength_and_colours(pencil, pictures):
    frame = pictures["bgra"].astype(float)
    result = pencil(pictures["bgra"]).astype(float)
    assert np.abs(pencil(pictures["bgra"], strength=0.25) - (0.75 * frame + 0.25 * result)).max() <= 0.5
    luma = np.array([0.114, 0.587, 0.299])
    coloured = np.clip(frame[..., :3] + ((result - frame)[..., :3] @ luma)[..., None], 0, 255)
    assert np.abs(pencil(pictures["bgra"], keep_colors=True)[..., :3] - coloured).max() <= 1
    both = pencil(pictures["bgra"], strength=0.5, keep_colors=True)
    for format, order in (("rgba", [2, 1, 0, 3]), ("bgr24", [0, 1, 2])):
        assert np.array_equal(pencil(pictures[format], format=format, strength=0.5, keep_colors=True), both[..., order])
    assert np.array_equal(pencil(pictures["nv12"], format="nv12", strength=0), pictures["nv12"])


@needs_models
def test_style_images_and_sequences(pictures, tmp_path):
    from PIL import Image

    image = pictures["style_image"]
    Image.fromarray(image[..., [2, 1, 0]]).save(tmp_path / "style.png")
    first, second = scene(seed=1), scene(seed=2)
    with vs.Stylizer("transfer", size=(WIDTH, HEIGHT)) as stylizer:
        with pytest.raises(vs.VorinError, match="set style_image first"):
            stylizer(first)
        stylizer.style_image = image
        assert stylizer.style_image is image
        expected = stylizer(first)
        smoothed = stylizer(second)
        stylizer.start_sequence()
        assert not np.array_equal(stylizer(second), smoothed)
        for same in (tmp_path / "style.png", str(tmp_path / "style.png"), Image.open(tmp_path / "style.png")):
            stylizer.style_image = scene(seed=9)
            stylizer.style_image = same
            stylizer.start_sequence()
            assert np.array_equal(stylizer(first), expected)
        stylizer.set_style_image(image[..., [2, 1, 0, 3]].copy(), format="rgba")
        stylizer.start_sequence()
        assert np.array_equal(stylizer(first), expected)
        with pytest.raises(vs.FrameError, match="the style image has the shape"):
            stylizer.style_image = image[..., :3]
        assert stylizer.info.network.startswith("ensemble") and stylizer.info.precision == "f32"


def test_info_and_devices(pencil):
    assert pencil.info == vs.Info(
        "pencil", None, pencil.info.device, "f32", "no GPU found; this machine's processor is used, which is slower"
    )
    assert vs.devices() == [vs.Device("software", pencil.info.device, "no GPU found")]


def test_a_closed_object(pictures):
    stylizer = vs.Stylizer("pencil")
    stylizer.close()
    stylizer.close()
    assert stylizer.closed
    for use in (lambda: stylizer(pictures["bgra"]), lambda: stylizer.info, stylizer.start_sequence):
        with pytest.raises(vs.VorinError, match="the stylizer is closed"):
            use()
