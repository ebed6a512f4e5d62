"""What a process does to the package: importing, forking, ending, other processes beside it, and other copies of the runtime."""

import os
import subprocess
import sys

import pytest
from conftest import needs_models, run_python

USE = """
import os, sys, threading
import numpy as np
import vorin_stt as vs
frame = np.random.default_rng(1).integers(0, 256, (270, 480, 4), np.uint8)
"""


def test_an_import_loads_little():
    said = run_python(
        "import sys, vorin_stt, vorin_stt.errors; print([name for name in ('numpy', 'vorin_stt._native', 'nanobind_backend') if name in sys.modules])"
    )
    assert said == "[]\n"


@needs_models
def test_what_needs_no_network_takes_the_precision_of_the_process():
    program = (
        USE
        + """
bf16 = vs.Stylizer("cartoon", device="software", precision="bf16")
with vs.Stylizer("stipple", device="software") as stylizer:
    print(stylizer.info.precision, len(vs.devices()))
try:
    vs.Stylizer("lightgrey", device="software")
except vs.VorinError as error:
    print("computes networks in bf16" in str(error))
"""
    )
    assert run_python(program) == "bf16 1\nTrue\n"


def test_what_is_not_there_fails_at_use(tmp_path):
    """The package without its native module, as Dask's command needs it."""
    import vorin_stt

    package = tmp_path / "vorin_stt"
    package.mkdir()
    for file in os.listdir(os.path.dirname(vorin_stt.__file__)):
        if file.endswith(".py"):
            (package / file).symlink_to(os.path.join(os.path.dirname(vorin_stt.__file__), file))
    environment = {**os.environ, "PYTHONPATH": str(tmp_path)}
    program = "import vorin_stt.dask\ntry:\n    vorin_stt.Stylizer\nexcept ImportError as error:\n    print(error)"
    assert "_native" in run_python(program, env=environment)


FORKED = (
    USE
    + """
stylizer = vs.Stylizer("pencil")
stylizer(frame)
pid = os.fork()
if pid == 0:
    for use in (lambda: stylizer(frame), lambda: vs.Stylizer("pencil"), vs.devices):
        try:
            use()
            print("no error")
        except vs.VorinError as error:
            print("forked" in str(error) and "spawn" in str(error))
    END
status = os.waitpid(pid, 0)[1]
stylizer(frame)
print("parent", os.waitstatus_to_exitcode(status))
"""
)


@pytest.mark.parametrize("end", ["os._exit(0)", "sys.exit(0)", "stylizer.close(); sys.exit(0)", "del stylizer; sys.exit(0)"])
def test_a_forked_process_gets_errors(end):
    said = run_python(FORKED.replace("END", f"sys.stdout.flush(); {end}"))
    assert said == "True\nTrue\nTrue\nparent 0\n"


def test_processes_that_begin_before_use_or_anew(tmp_path):
    """By fork before the first use, and by spawn after it."""
    (tmp_path / "work.py").write_text(
        USE
        + """
import multiprocessing

def work(seed):
    with vs.Stylizer("pencil") as stylizer:
        return stylizer(frame[:, seed:]).sum()

if __name__ == "__main__":
    with multiprocessing.get_context("fork").Pool(2) as pool:
        forked = pool.map(work, range(4))
    here = [work(seed) for seed in range(4)]
    with multiprocessing.get_context("spawn").Pool(2) as pool:
        spawned = pool.map(work, range(4))
    print(forked == here == spawned)
"""
    )
    run = subprocess.run([sys.executable, tmp_path / "work.py"], capture_output=True, text=True, timeout=120)
    assert (run.returncode, run.stdout, run.stderr) == (0, "True\n", "")


ENDS = {
    "in a frame": """
def work():
    stylizer = vs.Stylizer("pencil")
    while True:
        stylizer(frame)
""",
    "in the making of objects": """
def work():
    while True:
        vs.Stylizer("pencil").close()
""",
    "in a network's frame": """
def work():
    stylizer = vs.Stylizer("cartoon")
    while True:
        stylizer(frame)
""",
    "in an error": """
import time
from vorin_stt import errors
made = errors.error_of
def slowly(*what):  # Python's lock changes hands below native code, which the end of the thread would not survive
    time.sleep(0.05)
    return made(*what)
errors.error_of = slowly
class End:
    def __del__(self, sleep=time.sleep):
        for _ in range(20):
            sleep(0.01)
end = End()
def work():
    stylizer = vs.Stylizer("pencil")
    while True:
        try:
            stylizer(frame)
        except vs.VorinError:
            pass
""",
    "in a file": """
def work():
    from PIL import Image
    Image.fromarray(frame[..., :3]).save(sys.argv[1] + "/photo.png")
    while True:
        vs.stylize(sys.argv[1] + "/photo.png", sys.argv[1] + "/out.png", "pencil", overwrite=True)
""",
}


@pytest.mark.parametrize("where", [pytest.param(where, marks=needs_models if "network" in where else ()) for where in ENDS])
@pytest.mark.parametrize("wait_s", [0.0, 0.5, 0.9])
def test_the_interpreter_ends_in_the_middle_of_work(where, wait_s, tmp_path):
    """With threads of Python at work that nobody waits for, and an object that stays open."""
    program = (
        USE
        + ENDS[where]
        + f"""
kept = vs.Stylizer("stipple")
for _ in range(2):
    threading.Thread(target=work, daemon=True).start()
kept(frame)
threading.Event().wait({wait_s})
print("end")
"""
    )
    command = [sys.executable, "-X", "faulthandler", "-c", program, tmp_path]
    run = subprocess.run(command, capture_output=True, text=True, timeout=60)
    assert (run.returncode, run.stdout) == (0, "end\n"), run.stderr
    assert "terminate" not in run.stderr and "Fatal" not in run.stderr, run.stderr
    assert all(name in ("photo.png", "out.png") for name in os.listdir(tmp_path))


@needs_models
def test_processes_that_prepare_together(tmp_path):
    """4 processes make objects in one folder of unpacked networks; $VORIN_TEST_OBJECTS asks for more than 3 each."""
    objects = int(os.environ.get("VORIN_TEST_OBJECTS", "3"))
    program = (
        USE
        + f"""
for index in range({objects}):
    with vs.Stylizer(("cartoon", "lightgrey")[index % 2], size=(96 + 2 * (index % 5), 64)) as stylizer:
        stylizer(frame)
print("done")
"""
    )
    environment = {**os.environ, "XDG_CACHE_HOME": str(tmp_path)}
    processes = [
        subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env=environment)
        for _ in range(4)
    ]
    assert [process.communicate(timeout=300 + 10 * objects)[0] for process in processes] == ["done\n"] * 4


OURS = """
def ours():
    with vs.Stylizer("lightgrey", device="software", size=(96, 64)) as stylizer:
        return stylizer(frame[:64, :96]).tobytes()
"""
USERS = """
def users():
    import openvino
    core = openvino.Core()
    assert core.available_devices == ["CPU"], core.available_devices
    compiled = core.compile_model(core.read_model(sys.argv[1]), "CPU", {"INFERENCE_PRECISION_HINT": "f32"})
    shape = [1, 3, 64, 96]
    return lambda: compiled([np.linspace(0, 1, 3 * 64 * 96, dtype=np.float32).reshape(shape)])[0].tobytes()
"""


@needs_models
@pytest.mark.parametrize("order", ["ours first", "the user's first", "the user's import first"])
def test_beside_the_users_openvino(order, tmp_path):
    """Either order of use, a model of the user's running in between: both sides' results are those that they have alone."""
    pytest.importorskip("openvino")
    run_python(MODEL, tmp_path / "model.xml")
    begin = USE + OURS + USERS
    alone = [
        run_python(begin + f"import hashlib; print(hashlib.sha256({what}).hexdigest())", tmp_path / "model.xml")
        for what in ("ours()", "users()()")
    ]
    program = {
        "ours first": "first = ours(); run = users(); between = run(); second = ours(); again = run()",
        "the user's first": "run = users(); between = run(); first = ours(); again = run(); second = ours()",
        "the user's import first": "import openvino; first = ours(); run = users(); between = run(); second = ours(); again = run()",
    }[order]
    program += "\nassert first == second and between == again; assert vs.devices()[0].kind == 'software' and len(vs.devices()) == 1; import openvino; assert openvino.Core().available_devices == ['CPU']"
    program += "\nimport hashlib; print(hashlib.sha256(first).hexdigest()); print(hashlib.sha256(between).hexdigest())"
    assert run_python(begin + program, tmp_path / "model.xml") == "".join(alone)


MODEL = """
import sys
import numpy as np
import openvino
from openvino import opset13 as ops
weights = np.random.default_rng(5).normal(0, 0.3, (4, 3, 3, 3)).astype(np.float32)
image = ops.parameter([1, 3, 64, 96], np.float32)
layer = ops.relu(ops.convolution(image, ops.constant(weights), [1, 1], [1, 1], [1, 1], [1, 1]))
openvino.save_model(openvino.Model([layer], [image]), sys.argv[1])
"""


def test_a_forked_process_leaves_the_files_of_its_parent(tmp_path):
    """It ends while a thread of the parent writes one."""
    program = (
        USE
        + """
from PIL import Image
Image.fromarray(frame[..., :3]).save("photo.png")
forked = threading.Event()
thread = threading.Thread(target=vs.stylize, args=("photo.png", "out.png", "pencil"), kwargs={"on_progress": lambda *_: forked.wait()})
while not thread.is_alive() or not any(name.startswith(".") for name in os.listdir()):
    thread.ident or thread.start()
pid = os.fork()
if pid == 0:
    sys.exit(0)
os.waitpid(pid, 0)
forked.set()
thread.join()
print(sorted(os.listdir()))
"""
    )
    assert run_python(program, cwd=tmp_path) == "['out.png', 'photo.png']\n"
