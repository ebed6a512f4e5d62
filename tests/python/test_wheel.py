"""The wheels, as users have them: installed without network into fresh virtual environments of Debian's Python and the newest that there is.
`scripts/test --wheel` sets $VORIN_WHEELS to their folder. The other side are the programs of the release build."""

import filecmp
import os
import pathlib
import re
import subprocess
import sys
import zipfile

import pytest

WHEELS = os.environ.get("VORIN_WHEELS")
if WHEELS is None:
    pytest.skip("scripts/test --wheel runs these", allow_module_level=True)
WHEELS = pathlib.Path(WHEELS).resolve()
SOURCE = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = SOURCE / "build/release/vorin-stylize"
MODELS = SOURCE / "build/models-portable"
(WHEEL,) = WHEELS.glob("vorin_stt-*.whl")
# Nothing of the checkout, and nothing that another test's process leaves.
ENVIRONMENT = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "PYTHONDONTWRITEBYTECODE": "1"}


def newest_python():
    """The newest Python that the machine has besides Debian's, or Debian's again."""
    found = list(pathlib.Path.home().glob(".pyenv/versions/3.*/bin/python3")) + list(pathlib.Path("/usr/local/bin").glob("python3.??"))
    versions = {tuple(map(int, run(file, "-c", "import sys; print(*sys.version_info[:2])").split())): file for file in found}
    newest = max(versions, default=(0, 0))
    return str(versions[newest]) if newest > (3, 11) else "/usr/bin/python3"


def run(*command, status=0, **settings):
    done = subprocess.run(
        [str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=1200, **settings
    )
    assert done.returncode == status, f"status {done.returncode}, expected {status}: {command}\n{done.stdout}"
    return done.stdout


class Place:
    """A virtual environment, and a home folder for those who use it."""

    def __init__(self, python, folder):
        self.folder, self.home = folder / "venv", folder / "home"
        self.home.mkdir()
        run(python, "-m", "venv", self.folder)

    def install(self, *packages):
        """Fetches into the folder of wheels what is not there, then installs without network."""
        store = WHEELS / "others"
        words = ["--disable-pip-version-check", "--quiet", "--find-links", WHEELS, "--find-links", store]
        pins = ["--constraint", SOURCE / "scripts/requirements.txt", "--only-binary=:all:"]
        self.run("-m", "pip", "download", *words, *pins, "--dest", store, *packages, env=dict(os.environ))
        for own in store.glob("vorin_stt*"):
            own.unlink()
        self.run("-m", "pip", "install", *words, *pins, "--no-index", *packages)

    def run(self, *arguments, env=ENVIRONMENT, prefix=(), **settings):
        environment = {**env, "HOME": str(self.home)}
        return run(*prefix, self.folder / "bin/python", *arguments, env=environment, **settings)

    def files(self):
        return sorted(str(file) for file in self.folder.rglob("*"))


@pytest.fixture(scope="module", params=["Debian's", "newest"])
def place(request, tmp_path_factory):
    """The package without the networks."""
    python = "/usr/bin/python3" if request.param == "Debian's" else newest_python()
    if request.param == "newest" and python == "/usr/bin/python3":
        pytest.skip("there is no newer Python than Debian's")
    place = Place(python, tmp_path_factory.mktemp("place"))
    place.install("vorin-stt")
    return place


@pytest.fixture(scope="module")
def inputs(tmp_path_factory):
    """A photo in several encodings, and clips."""
    folder = tmp_path_factory.mktemp("inputs")
    photo = SOURCE / "docs/sheet.jpg"
    for name in ("photo.jpg", "photo.webp", "photo.tiff"):
        run("ffmpeg", "-v", "error", "-i", photo, "-vf", "crop=333:251:20:20", "-frames:v", "1", folder / name)
    pictures = ["-f", "lavfi", "-i", "testsrc2=size=98x66:rate=10:duration=1", "-f", "lavfi", "-i", "sine=duration=1"]
    for name, codecs in CLIPS.items():
        run("ffmpeg", "-v", "error", *pictures, *codecs.split(), folder / name)
    return folder


CLIPS = {
    "h264.mp4": "-c:v libx264 -c:a aac",
    "mpeg4.avi": "-c:v mpeg4 -c:a mp3",
    "vp9.webm": "-c:v libvpx-vp9 -c:a libopus",
    "av1.mkv": "-c:v libaom-av1 -cpu-used 8 -c:a flac",
    "prores.mov": "-c:v prores_ks -c:a pcm_s16le",
}
STYLES = {"cartoon": [], "pencil": [], "lightgrey": ["--precision", "bf16"], "transfer": ["--style-image", MODELS / "painting.png"]}
CASES = [("photo.jpg", style, "png") for style in STYLES]
CASES += [("photo.webp", "pencil", "webp"), ("photo.tiff", "pencil", "jpg"), ("photo.jpg", "pencil", "bmp")]
CASES += [("h264.mp4", "cartoon", "mp4"), ("mpeg4.avi", "pencil", "webm"), ("vp9.webm", "pencil", "mkv")]
CASES += [("av1.mkv", "pencil", "mov"), ("prores.mov", "pencil", "mp4")]


def is_same(file, other):
    """Byte for byte; Matroska's by its streams, since the files have random numbers."""
    if file.suffix not in (".mkv", ".webm"):
        return filecmp.cmp(file, other, shallow=False)
    return len({run("ffmpeg", "-v", "error", "-i", each, "-map", "0", "-c", "copy", "-f", "streamhash", "-") for each in (file, other)}) == 1


def test_what_is_missing_is_named_at_use(place, inputs):
    """Then the networks are installed."""
    words = ["-m", "vorin_stt", "stylize", inputs / "photo.jpg", "-o", place.home / "missing.png"]
    assert "pip install vorin-stt-models" in place.run(*words, "--style", "cartoon", status=3)
    assert 'pip install "vorin-stt[gpu]"' in place.run(*words, "--style", "pencil", "--device", "integrated", status=4)
    place.install("vorin-stt-models")


def test_the_picture_of_the_program(place, inputs):
    """In all kinds of files; nothing is written beside the interpreter."""
    before = place.files()
    differing = []
    for name, style, kind in CASES:
        ours, programs = place.home / f"{name}.{style}.{kind}", place.home / f"program.{kind}"
        words = ["stylize", inputs / name, "-o", ours, "--style", style, *STYLES[style]]
        place.run("-m", "vorin_stt", *words)
        words = [inputs / name, "-o", programs, "--style", style, *STYLES[style], "--overwrite", "--models", MODELS]
        run(PROGRAM, *words, env={**os.environ, "XDG_CACHE_HOME": str(place.home)})
        if not is_same(ours, programs):
            differing.append(ours.name)
    assert differing == []
    assert place.files() == before
    assert {entry.name for entry in place.home.iterdir()} >= {".cache"}


CV2 = """
import sys
def theirs():
    import cv2, numpy, hashlib
    clip = cv2.VideoCapture(sys.argv[1])
    frames = [clip.read()[1] for _ in range(5)]
    picture = cv2.GaussianBlur(cv2.resize(numpy.vstack(frames), (199, 401)), (5, 5), 1.5)
    return hashlib.sha256(cv2.imencode(".png", picture)[1].tobytes()).hexdigest()
def ours():
    import vorin_stt, hashlib
    vorin_stt.stylize(sys.argv[1], sys.argv[2] + "/beside.mp4", "lightgrey", steady=True, overwrite=True)
    return hashlib.sha256(open(sys.argv[2] + "/beside.mp4", "rb").read()).hexdigest()
"""


def test_beside_packages_of_the_same_libraries(place, inputs):
    """OpenCV with its own libav here, the inference runtime in the package's own tests, which run on the wheel, in either order."""
    place.install("opencv-python-headless==4.11.0.86", "openvino", "pytest", "pillow", "dask", "distributed")
    said = {}
    for calls in ("theirs()", "ours()", "theirs(), ours(), theirs(), ours()", "ours(), theirs(), ours(), theirs()"):
        sums = place.run("-c", f"{CV2}\nprint(*[{calls}])", inputs / "h264.mp4", place.home).split()
        said[calls] = list(zip(calls.split(", "), sums, strict=True))
    alone = dict(said["theirs()"] + said["ours()"])
    assert all(alone[call] == its_sum for results in said.values() for call, its_sum in results)
    place.run("-m", "pip", "uninstall", "-q", "-y", "vorin-stt-models")  # these name their package of networks, or test that there is none
    tests = SOURCE / "tests/python"
    environment = {**os.environ, "VORIN_BUILD_DIR": str(SOURCE / "build/release")}
    del environment["VORIN_WHEELS"]
    environment.pop("PYTHONPATH", None)
    said = place.run("-m", "pytest", "-q", "-p", "no:cacheprovider", tests, env=environment, cwd=place.home)
    assert " passed" in said and " failed" not in said, said


def test_an_opencl_from_a_package(inputs, tmp_path):
    """Where the system has none but a broken entry, at the first use, and with the bytes of Debian's."""
    hide = 'mount -t tmpfs none /etc/OpenCL && mkdir /etc/OpenCL/vendors && ln -s none /etc/OpenCL/vendors/broken.icd && exec "$@"'
    if subprocess.run(["unshare", "-m", "sh", "-c", hide, "-", "true"], stderr=subprocess.DEVNULL).returncode != 0:
        pytest.skip("the system's OpenCL cannot be hidden by this user")
    place = Place("/usr/bin/python3", tmp_path)
    place.install("vorin-stt")
    words = ["-m", "vorin_stt", "stylize", inputs / "photo.jpg", "--overwrite", "--style"]
    hidden = ["unshare", "-m", "sh", "-c", hide, "-"]
    said = place.run(*words, "pencil", "-o", tmp_path / "none.png", status=4, prefix=hidden)
    assert 'pip install "vorin-stt[filters]"' in said
    place.install("vorin-stt[filters]")
    look = "import vorin_stt; vorin_stt.Stylizer; print('libpocl' in open('/proc/self/maps').read())"
    assert place.run("-c", look, prefix=hidden) == "False\n"
    for style in ("pencil", "stipple"):
        place.run(*words, style, "-o", tmp_path / "package.png", prefix=hidden)
        place.run(*words, style, "-o", tmp_path / "system.png")
        assert filecmp.cmp(tmp_path / "package.png", tmp_path / "system.png", shallow=False), style


def test_files_of_the_wheel(tmp_path):
    """Its tag is the one that its libraries deserve; they find all that they need; none has a name that another package's may have; and the
    licences are there."""
    (tag,) = re.findall(r'constrains the platform tag to\s+"([^"]+)"', run(SOURCE / "build/venv/bin/auditwheel", "show", WHEEL))
    assert "manylinux" in tag and tag in WHEEL.name
    with zipfile.ZipFile(WHEEL) as archive:
        names = archive.namelist()
        libraries = [name for name in names if re.search(r"\.so(\.|$)", name)]
        archive.extractall(tmp_path, libraries)
        (notice,) = [archive.read(name).decode() for name in names if name.endswith("licenses/NOTICE")]
    assert "GNU General Public License" in notice
    sonames, needed = set(), set()
    for name in libraries:
        text = run("readelf", "--wide", "--dynamic", tmp_path / name)
        sonames.update(re.findall(r"\(SONAME\).*\[(.*)\]", text))
        needed.update(re.findall(r"\(NEEDED\).*\[(.*)\]", text))
    own = re.compile(r"libvorin_|vorin_embedded_|.*-[0-9a-f]{8}\.so")
    assert len(sonames) > 10 and [name for name in sonames if not own.match(name)] == []
    systems = re.compile(r"lib(c|m|dl|pthread|rt|gcc_s|stdc\+\+|z)\.so|ld-linux")
    files = {pathlib.Path(name).name for name in libraries}
    outside = [name for name in needed - sonames - files if not systems.match(name)]
    assert all(name.startswith("libopenvino.so.") for name in outside)  # of the package openvino, for GPUs
    common = {name.split("/")[-1] for name in names if "/licenses/common/" in name}
    assert common == {"GPL-2", "GPL-3", "LGPL-2.1"}
    licenses = {name.split("/")[2] for name in names if "/licenses/" in name}
    grafted = {re.sub(r"-[0-9a-f]{8}\.so.*", "", pathlib.Path(name).name) for name in libraries if name.startswith("vorin_stt.libs/")}
    assert {"libx264", "libcrypto", "libOpenCL"} <= grafted
    assert {"ffmpeg", "opencv", "openvino", "nanobind", "libx264-164", "libx265-199", "ocl-icd-libopencl1", "libssl3", "LICENSE"} <= licenses


