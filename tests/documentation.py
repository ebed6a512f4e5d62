#!/usr/bin/env python3
"""Runs or compiles every code block of README.md and docs/*.md: documentation.py SOURCE_FOLDER BUILD_FOLDER PHOTO

- sh blocks run line by line in a folder with a photo, a painting, a clip and a folder of photos, the built programs first in the path.
  What sets up, builds or tests the project is not started again: such a script has to be there and to know its --help. What needs a
  cluster, the test jobs_on_slurm runs.
- python blocks run in the same folder, those of a page in one interpreter, where the package is built.
- c and cpp blocks are compiled against the public header, in a function that has a frame's memory and an object at hand.
- cmake blocks make a project, which is configured with an installed copy.
- bat and text blocks, and those without a language, cannot be run here.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

source, build, photo = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
OWN_WORK = re.compile(r"^(scripts/(setup|test|demo|lint|package(?:-windows|-python)?|robustness|coverage)|models/build|bench/\S+|fuzz/\S+)\b")
MACHINES_WORK = re.compile(r"^(apt|apt-get|sudo|cmake|ctest|git|cd|pip|sbatch|build/models-venv/bin/python|x86_64-w64-mingw32-\S+)\b")
COMPILERS = {"c": ["gcc", "-std=c11"], "cpp": ["g++", "-std=c++20"]}
WRAPPER = """#include <stdio.h>
#include "vorin_stt.h"
#ifdef __cplusplus
#include "vorin_media.hpp"
#endif
{headers}
void block(uint8_t* bgra, uint8_t* result);
void block(uint8_t* bgra, uint8_t* result) {{
  (void)bgra;
  (void)result;
{code}
}}
"""
failures = []


def run(command, folder, **settings):
    return subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=300, **settings)


def blocks(page):
    language, lines, first = None, [], 0
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), 1):
        fence = re.match(r"^\s*```(\S*)", line)
        if fence and language is None:
            language, lines, first = fence[1], [], number + 1
        elif fence:
            yield language, "\n".join(lines), f"{page.relative_to(source)}:{first}"
            language = None
        elif language is not None:
            lines.append(line)


def commands(text):
    """The commands of a block, continued lines joined and comments gone."""
    for line in text.replace("\\\n", " ").splitlines():
        line = re.sub(r"(^|\s+)#\s.*$", "", line).strip()
        if line:
            yield line


def try_shell(text, place, sandbox):
    environment = dict(os.environ, PATH=f"{build}:{source}/build/venv/bin:{os.environ['PATH']}", PYTHONPATH=f"{build}/python:{source}/python",
                       VORIN_STT_MODELS=str(source / "build/models"))
    for command in commands(text):
        own = OWN_WORK.match(command)
        if own:
            script = source / own[1]
            result = run([script, "--help"], sandbox)
        elif MACHINES_WORK.match(command):
            continue
        else:
            command = re.sub(r"(?<!\S)scripts/with-softgpu", f"{source}/scripts/with-softgpu --build {build}", command)
            result = run(["bash", "-o", "pipefail", "-c", command], sandbox, env=environment)
        if result.returncode != 0:
            failures.append(f"{place}: status {result.returncode} of: {command}\n{result.stdout}")


def try_python(program, places, sandbox):
    """Runs the blocks of a page as one program."""
    environment = dict(os.environ, PYTHONPATH=f"{build}/python", VORIN_STT_MODELS=str(source / "build/models"))
    result = run([f"{source}/build/venv/bin/python", "-c", program], sandbox, env=environment)
    if result.returncode != 0:
        failures.append(f"{', '.join(places)}: status {result.returncode}\n{result.stdout}")


def try_compiler(language, text, place, sandbox):
    headers = "\n".join(re.findall(r"^#include.*$", text, re.M))
    code = re.sub(r"^#include.*$", "", text, flags=re.M)
    whole = headers + code if re.search(r"^int main", code, re.M) else WRAPPER.format(headers=headers, code=code)
    file = sandbox / f"block.{language}"
    file.write_text(whole, encoding="utf-8")
    result = run([*COMPILERS[language], "-Wall", "-Wno-unused", "-Werror", "-fsyntax-only", f"-I{source}/include", file], sandbox)
    if result.returncode != 0:
        failures.append(f"{place}: does not compile\n{result.stdout}")


def try_cmake(text, place, sandbox):
    prefix, project = sandbox / "installed", sandbox / "project"
    if not prefix.exists():
        run(["cmake", "--install", build, "--prefix", prefix], sandbox, check=True)
    shutil.rmtree(project, ignore_errors=True)
    project.mkdir()
    (project / "main.cpp").write_text("int main() {}\n", encoding="utf-8")
    target = re.search(r"target_link_libraries\((\w+)", text)
    listing = f"cmake_minimum_required(VERSION 3.16)\nproject(p LANGUAGES CXX)\nadd_executable({target[1]} main.cpp)\n{text}\n"
    (project / "CMakeLists.txt").write_text(listing, encoding="utf-8")
    result = run(["cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={prefix}"], sandbox)
    if result.returncode != 0:
        failures.append(f"{place}: does not configure\n{result.stdout}")


def furnish(sandbox):
    """What the commands of the pages talk about."""
    shutil.rmtree(sandbox, ignore_errors=True)
    (sandbox / "photos/deeper").mkdir(parents=True)
    run([build / "vorin-stylize", photo, "-o", sandbox / "painting.jpg", "--style", "stipple", "--size", "160x120"], sandbox, check=True)
    ffmpeg = ["ffmpeg", "-v", "error", "-y"]
    for name in ("photo.jpg", "photos/first.jpg", "photos/deeper/second.png"):
        run([*ffmpeg, "-i", photo, "-vf", "scale=160:-2", sandbox / name], sandbox, check=True)
    pictures = ["-f", "lavfi", "-i", "testsrc2=size=160x120:rate=10:duration=0.6"]
    run([*ffmpeg, *pictures, "-f", "lavfi", "-i", "sine=duration=0.6", "-pix_fmt", "yuv420p", sandbox / "clip.mp4"], sandbox, check=True)


def main():
    with tempfile.TemporaryDirectory() as folder:
        for page in [source / "README.md", *sorted((source / "docs").glob("*.md"))]:
            sandbox = pathlib.Path(folder) / page.stem
            furnish(sandbox)
            program, places = [], []
            for language, text, place in blocks(page):
                if language in ("sh", "bash"):
                    try_shell(text, place, sandbox)
                elif language in COMPILERS:
                    try_compiler(language, text, place, sandbox)
                elif language == "cmake":
                    try_cmake(text, place, sandbox)
                elif language == "python":
                    program.append(text)
                    places.append(place)
                elif language not in ("", "bat", "text", "console", "json"):
                    failures.append(f"{place}: nobody knows how to try a block of '{language}'")
            if program:
                try_python("\n".join(program), places, sandbox)
    print("\n\n".join(failures))
    return 1 if failures else 0


sys.exit(main())
