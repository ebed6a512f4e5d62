"""Checks that no room of the tree includes a header of a room above it: include_order.py SOURCE_FOLDER"""
import os
import re
import sys

# What each room may include besides itself: folders, or single files where the rest of a folder is closed. docs/contributing.md shows it.
SHARED_BY_SRC = ["include", "src/platform", "src/core/log.h", "src/core/vendor.h", "src/core/writable_folder.h"]
ROOMS = {
    "include": [],
    "src/platform": SHARED_BY_SRC,
    "src/modelpack": SHARED_BY_SRC + ["base/text.h"],  # for what programs use of it; the library does not
    "src/gpufilters": SHARED_BY_SRC,
    "src/neural": SHARED_BY_SRC + ["src/modelpack"],
    "src/pipeline": SHARED_BY_SRC + ["src/neural", "src/gpufilters"],
    "src/core": SHARED_BY_SRC + ["src/pipeline"],
    "base": ["include/vorin_error.hpp"],
    "media": ["include", "base", "src/modelpack"],
    "python": ["include"],
    "apps/stylize": ["include", "base", "media"],
    "apps/pack": ["include", "base", "src/modelpack"],
}
INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.MULTILINE)


def below(path, folder):
    return path == folder or path.startswith(folder + "/")


def room_of(path):
    return next(room for room in ROOMS if below(path, room))


def resolve(name, includer, files):
    """The files that an include may mean, which names most headers without their folder: near ones hide those further away."""
    beside = os.path.normpath(os.path.join(os.path.dirname(includer), name))
    if beside in files:
        return [beside]
    named_so = [path for path in files if path.endswith("/" + name)]
    return [path for path in named_so if room_of(path) == room_of(includer)] or named_so


def main(source_folder):
    os.chdir(source_folder)
    files = {os.path.join(folder, name) for room in ROOMS for folder, _, names in os.walk(room)
             for name in names if name.endswith((".c", ".cpp", ".h", ".hpp"))}
    faults = [f"{room}: holds no source, so its includes are not checked" for room in ROOMS if room not in map(room_of, files)]
    for includer in sorted(files):
        with open(includer, encoding="utf-8") as source:
            names = INCLUDE.findall(source.read())
        allowed = [room_of(includer)] + ROOMS[room_of(includer)]
        included = [path for name in names for path in resolve(name, includer, files)]
        faults += [f"{includer}: includes {path}, which its room may not use" for path in included
                   if not any(below(path, folder) for folder in allowed)]
        if includer.endswith(".h"):
            faults += [f"{includer}: is a header of the programs and includes another one, {path}" for path in included
                       if below(includer, "apps") and below(path, "apps")]
    print("\n".join(faults) or f"include_order: {len(files)} files include only what their rooms may use")
    return 1 if faults else 0


sys.exit(main(sys.argv[1]))
