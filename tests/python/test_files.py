"""Images and clips: frame by frame, from file to file, and from the command line. ffmpeg and vorin-stylize are the other side."""

import os
import pathlib
import signal
import sys
import threading
from fractions import Fraction

import numpy as np
import pytest
import vorin_stt as vs
from conftest import BUILD, MODELS, NEURAL, STYLES, needs_models, run, run_python, scene
from PIL import Image

PROGRAM = BUILD / "vorin-stylize"
FRAMES = 12


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """A photo with a profile and Exif data, a style image, and a clip of BT.601 with sound."""
    folder = tmp_path_factory.mktemp("files")
    exif = Image.Exif()
    exif[0x010E] = "a scene"
    Image.fromarray(scene(90, 121)[..., [2, 1, 0]]).save(folder / "photo.jpg", quality=95, exif=exif)
    Image.fromarray(scene(60, 50, 2)[..., [2, 1, 0]]).save(folder / "style.png")
    video = f"testsrc2=size=96x64:rate=25:duration={FRAMES / 25}"
    sound = f"sine=duration={FRAMES / 25}"
    colours = ["-pix_fmt", "yuv420p", "-colorspace", "smpte170m", "-color_range", "tv"]
    run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", video, "-f", "lavfi", "-i", sound, *colours, folder / "clip.mp4")
    return folder


def decoded(clip, format):
    """The frames as ffmpeg decodes them."""
    raw = clip.with_suffix(f".{format}")
    run("ffmpeg", "-v", "error", "-y", "-i", clip, "-f", "rawvideo", "-pix_fmt", format, raw)
    return np.fromfile(raw, np.uint8)


def open_descriptors(file):
    links = (pathlib.Path("/proc/self/fd") / entry for entry in os.listdir("/proc/self/fd"))
    return sum(link.is_symlink() and os.readlink(link) == str(file) for link in links)


def test_frames_of_a_clip(folder):
    with vs.open(folder / "clip.mp4", format="nv12") as clip:
        assert (clip.size, clip.frame_rate, clip.frames) == ((96, 64), Fraction(25), FRAMES)
        frames = list(clip)
        assert clip.closed
    assert [round(frame.time * 25, 6) for frame in frames] == list(range(FRAMES))
    assert {round(frame.duration * 25, 6) for frame in frames} == {1}
    assert np.array_equal(np.concatenate([frame.array.ravel() for frame in frames]), decoded(folder / "clip.mp4", "nv12"))


def test_a_clip_that_is_cut_short(folder, tmp_path):
    run("ffmpeg", "-v", "error", "-stream_loop", "3", "-i", folder / "clip.mp4", "-c", "copy", tmp_path / "whole.mkv")
    whole = (tmp_path / "whole.mkv").read_bytes()
    (tmp_path / "cut.mkv").write_bytes(whole[: len(whole) // 2])
    for name, is_whole in (("whole.mkv", True), ("cut.mkv", False)):
        clip = vs.open(tmp_path / name)
        assert (len(list(clip)) == 4 * FRAMES) == is_whole
        assert [f"{name}' is cut short" in line for line in clip.damage] == ([] if is_whole else [True])


def test_frames_in_other_formats(folder):
    """From NV12 by plain BT.601, each pair of chroma for its four pixels; luma below black is black."""
    nv12 = next(vs.open(folder / "clip.mp4", format="nv12")).array.astype(float)
    luma = np.maximum(nv12[:64] - 16, 0) / 219
    blue, red = ((nv12[64:, c::2].repeat(2, 0).repeat(2, 1) - 128) / 224 for c in (0, 1))
    bgr = np.stack([luma + 1.772 * blue, luma - 0.344136 * blue - 0.714136 * red, luma + 1.402 * red], 2)
    bgr = np.clip(255 * bgr, 0, 255)
    for format, order in (("bgra", [0, 1, 2]), ("rgba", [2, 1, 0]), ("bgr24", [0, 1, 2]), ("rgb24", [2, 1, 0])):
        array = next(vs.open(folder / "clip.mp4", format=format)).array
        assert array.flags.c_contiguous and array.flags.writeable
        assert np.abs(array[..., :3] - bgr[..., order]).max() <= 2, format
        assert array.shape[2] == 3 or (array[..., 3] == 255).all()
    yuyv = next(vs.open(folder / "clip.mp4", format="yuyv422")).array.astype(float)
    is_inside = ((bgr > 0) & (bgr < 255)).all(2)  # elsewhere colours were cut off
    assert np.abs(yuyv[..., 0] - nv12[:64])[is_inside].max() <= 2
    is_inside = is_inside[:, 0::2] & is_inside[:, 1::2]
    assert np.abs(yuyv[:, 0::2, 1] - nv12[64:, 0::2].repeat(2, 0))[is_inside].max() <= 2
    assert np.abs(yuyv[:, 1::2, 1] - nv12[64:, 1::2].repeat(2, 0))[is_inside].max() <= 2


def test_an_image_is_a_clip_of_one_frame(folder):
    (frame,) = vs.open(folder / "style.png", format="rgb24")
    assert np.array_equal(frame.array, np.asarray(Image.open(folder / "style.png")))
    (frame,) = vs.open(folder / "style.png", format="nv12")
    luma = np.asarray(Image.open(folder / "style.png")).astype(float) @ [65.481, 128.553, 24.966] / 255 + 16
    assert frame.array.shape == (90, 50) and np.abs(frame.array[:60] - luma).max() <= 1
    with pytest.raises(vs.VorinError, match="121x90 pixels does not fit its layout"):
        next(vs.open(folder / "photo.jpg", format="nv12"))


def test_the_decoder_is_freed(folder):
    file = folder / "clip.mp4"
    clip = vs.open(file)
    array = next(clip).array
    copy = array.copy()
    assert open_descriptors(file) == 1
    clip.close()
    clip.close()
    assert open_descriptors(file) == 0 and list(clip) == []
    assert np.array_equal(array, copy)  # it is the frame's own memory
    for _ in vs.open(file):
        break
    assert open_descriptors(file) == 0
    clip = vs.open(file)
    assert len(list(clip)) == FRAMES and open_descriptors(file) == 0


@pytest.mark.parametrize(
    ("name", "words"),
    [("absent.mp4", "does not exist"), ("text.mp4", "text.mp4"), ("", "is a folder|not a")],
)
def test_files_that_cannot_be_opened(name, words, folder):
    (folder / "text.mp4").write_text("no clip")
    with pytest.raises(vs.VorinError, match=words):
        vs.open(folder / name)


OPTIONS = {
    "plain": ({}, []),
    "look": ({"strength": 0.6, "keep_colors": True}, ["--strength", "0.6", "--keep-colors"]),
    "size": ({"size": (64, 48)}, ["--size", "64x48"]),
}


IMAGES = [pytest.param(style.values[0], "plain", marks=style.marks) for style in STYLES]
IMAGES += [
    pytest.param(style, look, marks=marks) for style, marks in (("pencil", ()), ("cartoon", needs_models)) for look in ("look", "size")
]


@pytest.mark.parametrize(("style", "options"), IMAGES)
def test_images_are_those_of_the_program(style, options, folder, tmp_path):
    given, words = OPTIONS[options]
    if style == "transfer":
        given = {**given, "style_image": folder / "style.png"}
        words = [*words, "--style-image", folder / "style.png"]
    models = ["--models", MODELS] if style in NEURAL else []
    run(PROGRAM, folder / "photo.jpg", "-o", tmp_path / "expected.jpg", "--style", style, *models, *words)
    result = vs.stylize(folder / "photo.jpg", tmp_path / "result.jpg", style, **given)
    assert (tmp_path / "result.jpg").read_bytes() == (tmp_path / "expected.jpg").read_bytes()
    assert result.frames == 1 and result.size == given.get("size", (121, 90)) and result.info.style == style


@pytest.mark.parametrize("style", ["pencil", pytest.param("cartoon", marks=needs_models)])
def test_clips_are_those_of_the_program(style, folder, tmp_path):
    models = ["--models", MODELS] if style in NEURAL else []
    run(PROGRAM, folder / "clip.mp4", "-o", tmp_path / "expected.mp4", "--style", style, "--steady", *models)
    told = []
    result = vs.stylize(folder / "clip.mp4", tmp_path / "result.mp4", style, steady=True, on_progress=lambda *now: told.append(now))
    assert told == [(done, FRAMES) for done in range(1, FRAMES + 1)]
    assert (result.frames, result.damage, result.warnings) == (FRAMES, [], [])
    for stream in ("v", "a"):
        sums = [
            run("ffmpeg", "-v", "error", "-i", tmp_path / name, "-map", f"0:{stream}", "-f", "framemd5", "-")
            for name in ("result.mp4", "expected.mp4")
        ]
        assert sums[0] == sums[1]


class MadeUpError(Exception):
    pass


@pytest.mark.parametrize("raised", [MadeUpError("here"), vs.Cancelled("enough"), KeyboardInterrupt()], ids=repr)
@pytest.mark.parametrize("name", ["clip.mp4", "photo.jpg"])
def test_an_exception_of_on_progress_ends_the_work(name, raised, folder, tmp_path):
    told = []

    def tell(done, expected):
        told.append(done)
        if done == min(3, expected):
            raise raised

    with pytest.raises(type(raised)) as caught:
        vs.stylize(folder / name, tmp_path / name, "pencil", on_progress=tell)
    assert caught.value is raised
    assert len(told) == (3 if name == "clip.mp4" else 1)
    assert list(tmp_path.iterdir()) == []


def test_ctrl_c_ends_the_work(folder, tmp_path):
    """A signal that arrives while Python's lock is free."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)  # a test run in the background ignores the signal
    timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
    run("ffmpeg", "-v", "error", "-stream_loop", "200", "-i", folder / "clip.mp4", "-c", "copy", tmp_path / "long.mp4")
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        vs.stylize(tmp_path / "long.mp4", tmp_path / "out.mp4", "pencil")
    timer.join()
    signal.signal(signal.SIGINT, before)
    assert [file.name for file in tmp_path.iterdir()] == ["long.mp4"]


FAULTS = {
    "input that there is not": (["absent.jpg", "out.png"], {}, "does not exist"),
    "input named like options": (["it's --size-of 5.jpg", "out.png"], {}, "it's --size-of 5.jpg' does not exist"),
    "output that exists": (["photo.jpg", "style.png"], {}, "overwrite"),
    "output that is read": (["photo.jpg", "photo.jpg"], {"overwrite": True}, "which is read"),
    "output without a kind": (["photo.jpg", "out.txt"], {}, "no known file extension"),
    "folder that there is not": (["photo.jpg", "none/out.png"], {}, "none"),
    "image as a clip": (["photo.jpg", "out.mp4"], {}, "photo.jpg"),
    "clip as an image": (["clip.mp4", "out.png"], {}, "is a clip: name the output like a clip"),
    "steady image": (["photo.jpg", "out.png"], {"steady": True}, "steady applies to clips only"),
    "style": (["photo.jpg", "out.png"], {"style": "sepia"}, "unknown style"),
    "no style image": (["photo.jpg", "out.png"], {"style": "transfer"}, "give style_image an image file"),
    "style image": (["photo.jpg", "out.png"], {"style_image": "style.png"}, "transfer only"),
    "strength": (["photo.jpg", "out.png"], {"strength": 2}, "strength of 2"),
    "size": (["photo.jpg", "out.png"], {"size": "64x48"}, "two whole numbers"),
    "path": ([5, "out.png"], {}, "the input 5 is not a path"),
    "on_progress": (["photo.jpg", "out.png"], {"on_progress": 5}, "on_progress 5 cannot be called"),
    "NUL": (["photo.jpg\0", "out.png"], {}, "the input 'photo.jpg.*' holds a NUL"),
    "standard output": (["photo.jpg", "-"], {}, "the output is '-', standard input or output: name a file"),
    "name that is not UTF-8": ([b"photo\xff.jpg", "out.png"], {}, "the input 'photo.*' is not UTF-8"),
}


@pytest.mark.parametrize("case", FAULTS)
def test_files_and_options_that_are_refused(case, folder, monkeypatch):
    paths, options, words = FAULTS[case]
    monkeypatch.chdir(folder)
    before = {file.name: file.read_bytes() for file in folder.iterdir()}
    with pytest.raises(vs.VorinError, match=words) as raised:
        vs.stylize(*paths, **options)
    assert "--" not in str(raised.value).replace(str(paths[0]), "")
    assert {file.name: file.read_bytes() for file in folder.iterdir()} == before


def command(*words, status=0, **settings):
    return run(sys.executable, "-m", "vorin_stt", *words, status=status, **settings)


@needs_models
def test_the_command_line(folder, tmp_path):
    options = ["--style", "cartoon", "--strength", "0.5"]
    run(PROGRAM, folder / "photo.jpg", "-o", tmp_path / "expected.png", *options, "--models", MODELS)
    said = command("stylize", folder / "photo.jpg", "-o", tmp_path / "out.png", *options)
    assert said.endswith(
        "out.png: 121x90, cartoon, " + vs.devices()[0].name + ": no GPU found; this machine's processor is used, which is slower\n"
    )
    assert (tmp_path / "out.png").read_bytes() == (tmp_path / "expected.png").read_bytes()
    assert command("devices") == f"software\t{vs.devices()[0].name}\tno GPU found\n"
    lines = command("selftest").splitlines()
    program = run(PROGRAM, "selftest", "--models", MODELS).splitlines()
    assert lines == program and len(lines) == 6 and all(": ok, off by" in line for line in lines[:5])


def test_exit_statuses_of_the_command_line(folder, tmp_path):
    photo, out = folder / "photo.jpg", tmp_path / "out.png"
    assert "invalid choice" in command("stylize", photo, "-o", out, "--style", "sepia", status=2)
    assert "write it as 640x480" in command("stylize", photo, "-o", out, "--style", "pencil", "--size", "5", status=2)
    for words in (["--steady"], ["--strength", "2"], ["--size", "0x5"], ["--style-image", folder / "style.png"]):
        line = [photo, "-o", out, "--style", "pencil", *words]
        run(PROGRAM, *line, status=2)
        command("stylize", *line, status=2)
    assert "does not exist" in command("stylize", folder / "absent.jpg", "-o", out, "--style", "pencil", status=5)
    assert "no discrete GPU" in command("stylize", photo, "-o", out, "--style", "pencil", "--device", "discrete", status=4)
    environment = {**os.environ, "VORIN_STT_MODELS": str(tmp_path)}
    assert "lightgrey: FAILED" in command("selftest", status=3, env=environment)
    assert "model_st.bin" in command("stylize", photo, "-o", out, "--style", "cartoon", status=3, env=environment)
    assert not out.exists()


def test_help_reads_well():
    """Each public name and each of their public methods says what it does."""
    said = run_python("import vorin_stt; help(vorin_stt)")
    assert all(name in said for name in vs.__all__)
    for name in vs.__all__:
        thing = getattr(vs, name)
        members = [getattr(thing, member) for member in vars(thing) if not member.startswith("_")] if isinstance(thing, type) else []
        for each in [thing, *(member for member in members if callable(member) or isinstance(member, property))]:
            assert each.__doc__, f"{name}: {each}"
