"""The OpenCL of the extra "filters", for machines whose system has none."""

from __future__ import annotations

import contextlib
import ctypes
import importlib.util
import os
import shutil
import tempfile
import threading
from pathlib import Path

SYSTEMS = Path("/etc/OpenCL/vendors")
_lock = threading.Lock()
_is_done = False


def use_packaged_opencl() -> None:
    """To be called before each use of OpenCL; the first call finds one. Without it, the use itself says what to install."""
    global _is_done
    with _lock:
        if not _is_done:
            with contextlib.suppress(OSError):  # of the temporary folder, or a loader that does not load
                _find_packaged_opencl()
            _is_done = True


def _find_packaged_opencl() -> None:
    """Has the package's own loader of OpenCL find PoCL in the package pocl-binary-distribution, if the system has no PoCL.

    The loader looks for implementations once, at its first call, which is made here: the variable that names the place is gone
    afterwards, so that other loaders in the process and processes started from it do not see it.
    """
    loaders = list(Path(__file__).parents[1].glob("vorin_stt.libs/libOpenCL-*"))
    package = importlib.util.find_spec("pocl_binary_distribution")
    if not loaders or package is None or package.origin is None or "OCL_ICD_VENDORS" in os.environ:
        return
    systems = list(SYSTEMS.glob("*.icd"))
    found = list(Path(package.origin).parents[1].glob("pyopencl/.libs/libpocl-*"))
    if not found or any("pocl" in system.name for system in systems):
        return
    with tempfile.TemporaryDirectory() as folder:
        for system in systems:
            with contextlib.suppress(OSError):  # unreadable, so that the loader would leave it out too
                shutil.copy(system, folder)
        Path(folder, "pocl.icd").write_text(f"{found[0]}\n")
        os.environ["OCL_ICD_VENDORS"] = folder
        try:
            ctypes.CDLL(str(loaders[0])).clGetPlatformIDs(0, None, ctypes.byref(ctypes.c_uint()))
        finally:
            del os.environ["OCL_ICD_VENDORS"]
