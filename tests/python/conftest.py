"""What the tests of the Python package share. The package is the one that Python finds; the programs are those of $VORIN_BUILD_DIR."""

import os
import pathlib
import subprocess
import sys

import numpy as np
import pytest
import vorin_stt as vs

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("VORIN_BUILD_DIR", SOURCE / "build/release")).resolve()
MODELS = SOURCE / "build/models"
os.environ["VORIN_STT_MODELS"] = str(MODELS)
os.environ["PYTHONWARNINGS"] = "ignore:This process:DeprecationWarning"  # of forks beside threads, from Python 3.12 on

NEURAL = ("transfer", "lightgrey", "cartoon")
needs_models = pytest.mark.skipif(not (MODELS / "model_st.bin").exists(), reason="there is no package of networks")
STYLES = [pytest.param(style, marks=needs_models if style in NEURAL else ()) for style in ("pencil", "stipple", *NEURAL)]
WIDTH, HEIGHT = 66, 50
FORMATS = ("bgra", "rgba", "bgr24", "nv12", "yuyv422")  # that the C functions have


def run(*command, status=0, **settings):
    """Runs a command; returns what it printed, standard error included."""
    done = subprocess.run(
        [str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=300, **settings
    )
    assert done.returncode == status, f"status {done.returncode}, expected {status}: {command}\n{done.stdout}"
    return done.stdout


def run_python(program, *arguments, status=0, **settings):
    """Runs a program in a new interpreter; returns what it printed."""
    return run(sys.executable, "-c", program, *arguments, status=status, **settings)


def scene(height=HEIGHT, width=WIDTH, seed=7):
    """A BGRA picture of waves and noise."""
    noise = np.random.default_rng(seed)
    y, x = np.mgrid[0:height, 0:width]
    waves = [127 + 90 * np.sin(x / (5 + c) + seed) * np.cos(y / (7 - c)) for c in range(3)]
    picture = np.full((height, width, 4), 255, np.uint8)
    picture[..., :3] = np.clip(np.stack(waves, 2) + noise.normal(0, 12, (height, width, 3)), 0, 255)
    return picture


def padded(array, row_bytes_more=13):
    """A copy of the array with space between its rows, and all its memory, which is filled with 0xA5 elsewhere."""
    row_bytes = array[0].size
    memory = np.full((array.shape[0], row_bytes + row_bytes_more), 0xA5, np.uint8)
    memory[:, :row_bytes] = array.reshape(array.shape[0], -1)
    view = np.lib.stride_tricks.as_strided(memory, array.shape, (memory.strides[0], *array.strides[1:]))
    return view, memory


@pytest.fixture(scope="module")
def pencil():
    with vs.Stylizer("pencil") as stylizer:
        yield stylizer


@pytest.fixture(scope="session")
def pictures():
    """One scene in five formats, and a style image."""
    noise = np.random.default_rng(3)
    bgra = scene()
    luma = noise.integers(16, 236, (HEIGHT, WIDTH), np.uint8)
    chroma = noise.integers(64, 192, (HEIGHT // 2, WIDTH), np.uint8)
    yuyv = noise.integers(64, 192, (HEIGHT, WIDTH, 2), np.uint8)
    return {
        "bgra": bgra,
        "rgba": np.ascontiguousarray(bgra[..., [2, 1, 0, 3]]),
        "bgr24": np.ascontiguousarray(bgra[..., :3]),
        "nv12": np.concatenate([luma, chroma]),
        "yuyv422": yuyv,
        "style_image": scene(40, 30, 1),
    }


@pytest.fixture(scope="session")
def c_door(pictures, tmp_path_factory):
    """The results of the C functions for the pictures, by "STYLE FORMAT"."""
    folder = tmp_path_factory.mktemp("c_door")
    np.savez(folder / "pictures.npz", **pictures)
    # A copy of the interpreter, since the library unpacks networks in the program's own folder.
    (folder / "python").write_bytes(pathlib.Path(os.path.realpath(sys.executable)).read_bytes())
    (folder / "python").chmod(0o700)
    environment = dict(os.environ, PYTHONHOME=sys.base_prefix, PYTHONPATH=str(pathlib.Path(np.__file__).parents[1]))
    program = [folder / "python", SOURCE / "tests/python/c_door.py", BUILD / "libvorin_stt.so", MODELS]
    run(SOURCE / "scripts/with-softgpu", "--build", BUILD, *program, folder / "pictures.npz", folder / "results.npz", env=environment)
    return np.load(folder / "results.npz")
