"""Restyles pictures through the C functions of libvorin_stt: c_door.py LIBRARY MODELS PICTURES RESULTS

PICTURES is an .npz file with the frames by format and `style_image`; RESULTS gets "STYLE FORMAT" for each style, in the frame's format
but BGRA for yuyv422. To be run under scripts/with-softgpu.
"""

import ctypes
import sys

import numpy as np

STYLE_TYPE, STYLE_INDEX, WIDTH, HEIGHT, MODEL_PATH = 0, 1, 2, 3, 5
ANY_GPU = 8
STYLES = {"transfer": 0, "lightgrey": 1, "cartoon": 2, "stipple": 3, "pencil": 4}
FORMATS = {"bgra": 1, "rgba": 2, "bgr24": 3, "nv12": 5, "yuyv422": 6}


class SttFrame(ctypes.Structure):
    _fields_ = [
        ("memory_type", ctypes.c_uint32),
        ("data", ctypes.c_void_p),
        ("pixel_format", ctypes.c_uint32),
        ("width", ctypes.c_uint32),
        ("height", ctypes.c_uint32),
        ("pitch", ctypes.c_uint32),
    ]


def frame_over(array, format):
    rows, columns = array.shape[:2]
    height = rows // 3 * 2 if format == "nv12" else rows
    return SttFrame(0, array.ctypes.data, FORMATS[format], columns, height, array.strides[0])


class Door:
    """One object of the library."""

    def __init__(self, library, models):
        self._library = ctypes.CDLL(library)
        self._handle = ctypes.c_void_p()
        self._call("Create", ctypes.byref(self._handle), with_handle=False)
        device = ctypes.c_void_p()
        request = (ctypes.c_char * 136)()
        request[0:4] = ANY_GPU.to_bytes(4, "little")
        self._call("CreateDevice", request, ctypes.byref(device))
        self._context = ctypes.c_void_p()
        self._call("CreateContext", device, ctypes.byref(self._context))
        self._call("SetConfig", self._context, ctypes.c_uint32(MODEL_PATH), ctypes.c_char_p(models.encode()))

    def _call(self, name, *arguments, with_handle=True):
        status = self._library[f"vorin_Stt{name}"](*([self._handle] if with_handle else []), *arguments)
        assert status == 0, f"{name}: status {status}"

    def prepare(self, style, width, height):
        for key, value in ((STYLE_TYPE, STYLES[style]), (STYLE_INDEX, 0), (WIDTH, width), (HEIGHT, height)):
            self._call("SetConfig", self._context, ctypes.c_uint32(key), ctypes.byref(ctypes.c_int32(value)))
        self._call("Prepare", self._context)

    def restyle(self, frame, style_image, out):
        style = None if style_image is None else ctypes.byref(style_image)
        self._call("ProcessFrame", self._context, ctypes.byref(frame), style, ctypes.byref(out))


def main():
    library, models, pictures_file, results_file = sys.argv[1:5]
    pictures = np.load(pictures_file)
    style_image = np.ascontiguousarray(pictures["style_image"])
    height, width = pictures["bgra"].shape[:2]
    results = {}
    for style in STYLES:
        for format in FORMATS:
            door = Door(library, models)
            door.prepare(style, width, height)
            frame = pictures[format].copy()  # a neural style may write to it
            delivered = "bgra" if format == "yuyv422" else format
            result = np.zeros_like(pictures[delivered])
            image = frame_over(style_image, "bgra") if style == "transfer" else None
            door.restyle(frame_over(frame, format), image, frame_over(result, delivered))
            results[f"{style} {format}"] = result
    np.savez(results_file, **results)


if __name__ == "__main__":
    main()
