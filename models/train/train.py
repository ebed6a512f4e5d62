"""Trains small networks that draw as the fixed styles' networks do.

Usage: train.py FOLDER OUTPUT. FOLDER holds teacher.npz (export.py) and pictures (photos.py), and judges, photos of 960 x 540 pixels on
which nothing is trained (judges.py). Writes OUTPUT/students.npz, the numbers in half precision, and results.json with the
likeness to the teachers. Runs on a CUDA device where there is one, otherwise on the processor; `--seconds` is the whole time.
"""

from __future__ import annotations

import argparse
import json
import math
import time
from collections.abc import Callable, Mapping
from dataclasses import dataclass
from pathlib import Path

import numpy as np
import torch
from PIL import Image
from pool import FRAME_HEIGHT, FRAME_WIDTH, PART_SIDE, Pool, read_pictures
from student import PLANES, Shape, Student, finished
from teacher import Teacher
from torch import Tensor

SEED = 18
NETWORKS = "light_grey.16-32x3w,cartoon.16-32x3w"
LEARNING_RATE = 2e-3
WARM_UP_SHARE = 0.03
# One step in so many sees whole frames instead of parts.
FRAME_EVERY = 4
# The largest noise, in levels, and the share of samples that have any.
LARGEST_NOISE = 5.0
NOISY_SHARE = 0.6


@dataclass(frozen=True)
class Course:
    """How a training goes: the largest learning rate, what squared differences weigh, and how many steps are averaged."""

    rate: float
    squared: float
    averaged_steps: int


def loss_of(picture: Tensor, target: Tensor, weights: Tensor, squared: float) -> Tensor:
    """Absolute differences for clean areas, squared ones for few large errors, and those of neighbours for edges."""
    difference = (picture - target) * weights
    across = difference[..., 1:] - difference[..., :-1]
    down = difference[..., 1:, :] - difference[..., :-1, :]
    edges = across.abs().mean() + down.abs().mean()
    return difference.abs().mean() + squared * difference.square().mean() + 0.4 * edges


class Batch:
    """The tensors that a step reads, filled anew before each one."""

    def __init__(self, pool: Pool, count: int) -> None:
        self.pool, self.count = pool, count
        device = pool.images.device
        height, width = pool.images.shape[2:]
        self.images = torch.zeros(count, 3, height, width, device=device)
        self.weights = torch.ones(count, 1, height, width, device=device)
        self.targets = {style: torch.zeros(count, *targets.shape[1:], device=device) for style, targets in pool.targets.items()}

    def fill(self) -> None:
        device = self.images.device
        chosen = torch.randint(0, len(self.pool.images), (self.count,), device=device)
        images = self.pool.images[chosen].float()
        drawn = torch.rand(self.count, 1, 1, 1, device=device)
        sigma = (1.0 - drawn / NOISY_SHARE).clamp(min=0.0) * LARGEST_NOISE
        noisy = (images + torch.randn_like(images) * sigma).round().clamp(0, 255)
        self.images.copy_(noisy / 127.5 - 1.0)
        self.weights.copy_(self.pool.border_weights(chosen))
        for style, targets in self.targets.items():
            targets.copy_(self.pool.targets[style][chosen])


class Trainee:
    """One small network with its optimiser and the running average of its numbers, which is what counts in the end."""

    def __init__(self, style: str, shape: Shape, course: Course, device: torch.device) -> None:
        self.style, self.course = style, course
        self.network = Student(shape, PLANES[style]).to(device)
        self.average = Student(shape, PLANES[style]).to(device)
        self.average.load_state_dict(self.network.state_dict())
        is_cuda = device.type == "cuda"
        self.rate = torch.tensor(LEARNING_RATE, device=device)
        options: dict[str, object] = {"capturable": True, "fused": True, "lr": self.rate} if is_cuda else {"lr": LEARNING_RATE}
        self.optimiser = torch.optim.AdamW(self.network.parameters(), betas=(0.9, 0.98), weight_decay=1e-4, **options)
        self.loss = torch.zeros((), device=device)
        self.is_half = is_cuda
        # A GPU takes 3.3 instead of 5.3 ms a step in bfloat16 with its small kernels joined, which costs a minute's compilation.
        if is_cuda and hasattr(torch, "compile"):
            self.compute_loss = torch.compile(self.compute_loss, dynamic=False)

    def start(self, numbers: Mapping[str, np.ndarray], name: str) -> None:
        """Takes an earlier training's numbers."""
        values = {key: torch.from_numpy(numbers[f"{name}.{key}"].astype(np.float32)) for key in self.network.state_dict()}
        self.network.load_state_dict(values)
        self.average.load_state_dict(values)

    def set_rate(self, rate: float) -> None:
        if self.rate.is_cuda:
            self.rate.fill_(rate)
        else:
            for group in self.optimiser.param_groups:
                group["lr"] = rate

    def compute_loss(self, images: Tensor, target: Tensor, weights: Tensor) -> Tensor:
        with torch.autocast(images.device.type, torch.bfloat16, enabled=self.is_half, cache_enabled=False):
            picture = self.network.picture(self.style, images)
        return loss_of(picture.float(), target, weights, self.course.squared)

    def step(self, batch: Batch) -> None:
        self.optimiser.zero_grad(set_to_none=True)
        loss = self.compute_loss(batch.images, batch.targets[self.style], batch.weights)
        loss.backward()
        self.optimiser.step()
        with torch.no_grad():
            self.loss.copy_(loss.detach())
            for average, value in zip(self.average.parameters(), self.network.parameters()):
                average.lerp_(value, 1.0 / self.course.averaged_steps)

    def captured(self, batch: Batch) -> Callable[[], None]:
        """The step on one batch as a CUDA graph, which starts its hundreds of small kernels at once."""
        stream = torch.cuda.Stream()
        stream.wait_stream(torch.cuda.current_stream())
        with torch.cuda.stream(stream):
            for _ in range(3):
                self.step(batch)
        torch.cuda.current_stream().wait_stream(stream)
        graph = torch.cuda.CUDAGraph()
        with torch.cuda.graph(graph):
            self.step(batch)
        return graph.replay


def rate_at(share: float, rate: float) -> float:
    """The learning rate, at most `rate`, at a share of the whole time: a short rise, then half a cosine."""
    if share < WARM_UP_SHARE:
        return rate * max(share, 1e-3) / WARM_UP_SHARE
    return rate * 0.5 * (1.0 + math.cos(math.pi * (share - WARM_UP_SHARE) / (1.0 - WARM_UP_SHARE)))


def train(trainees: dict[str, Trainee], parts: Batch, frames: Batch, end_s: float, course: Course) -> int:
    """Steps by turns until the time is over; returns how many."""
    steps = {}
    for name, trainee in trainees.items():
        if parts.images.is_cuda:
            steps[name] = [trainee.captured(batch) for batch in (parts, frames)]
        else:
            steps[name] = [lambda t=trainee: t.step(parts), lambda t=trainee: t.step(frames)]
    start_s = time.monotonic()
    count = 0
    while (now_s := time.monotonic()) < end_s:
        share = (now_s - start_s) / (end_s - start_s)
        which = int(count % FRAME_EVERY == FRAME_EVERY - 1)
        (parts, frames)[which].fill()
        for name, trainee in trainees.items():
            trainee.set_rate(rate_at(share, course.rate))
            steps[name][which]()
        count += 1
        if count % 100 == 0 or not parts.images.is_cuda:
            losses = " ".join(f"{name} {trainee.loss.item():.4f}" for name, trainee in trainees.items())
            if count % 1000 == 0 or not parts.images.is_cuda and count % 20 == 0:
                print(f"{now_s - start_s:.0f} s, step {count}: {losses}", flush=True)
    return count


def bytes_of(style: str, picture: Tensor) -> np.ndarray:
    """The picture as the library finishes it: light grey stretched to the whole range."""
    if style == "light_grey":
        picture = (picture - picture.amin()) / (picture.amax() - picture.amin())
    return (picture.clamp(0, 1) * 255.0).round()[0].cpu().numpy().astype(np.uint8)


def psnr(one: np.ndarray, other: np.ndarray) -> float:
    return 10.0 * math.log10(255.0**2 / max(np.square(one.astype(np.float64) - other).mean(), 1e-9))


def judged(trainee: Trainee, teacher: Teacher, judges: dict[str, Tensor]) -> dict[str, object]:
    """The likeness on the judges, and how much of noise of deviation 3 reaches the picture, against the teacher's."""
    figures, flicker = {}, []
    generator = torch.Generator().manual_seed(SEED)
    with torch.no_grad():
        for name, image in judges.items():
            planes = image / 127.5 - 1.0
            networks = (lambda x: trainee.average.picture(trainee.style, x), lambda x: finished(trainee.style, teacher(x), x))
            ours, theirs = (network(planes) for network in networks)
            figures[name] = round(psnr(bytes_of(trainee.style, ours), bytes_of(trainee.style, theirs)), 2)
            noise = (torch.randn(image.shape, generator=generator) * 3.0).to(image.device)
            noisy = (image + noise).round().clamp(0, 255) / 127.5 - 1.0
            changes = [(network(noisy) - clean).abs().mean().item() for network, clean in zip(networks, (ours, theirs))]
            flicker.append(changes[0] / changes[1])
    values = list(figures.values())
    summary = {"mean_db": round(float(np.mean(values)), 2), "worst_db": min(values), "flicker": round(float(np.mean(flicker)), 3)}
    return summary | {"photos": figures}


def read_judges(folder: Path, device: torch.device) -> dict[str, Tensor]:
    """The judges as bytes, sides made multiples of 4 as the networks do."""
    judges = {}
    for file in sorted(folder.glob("*.png")):
        with Image.open(file) as image:
            pixels = torch.from_numpy(np.asarray(image.convert("RGB"))[:, :, ::-1].copy())
        planes = pixels.permute(2, 0, 1)[None].float()
        missing = [-planes.shape[axis] % 4 for axis in (3, 2)]
        judges[file.stem] = torch.nn.functional.pad(planes, [0, missing[0], 0, missing[1]], "reflect").to(device)
    return judges


def write_sheet(trainee: Trainee, teacher: Teacher, judges: dict[str, Tensor], file: Path) -> None:
    """Photo, teacher's picture and ours side by side, one row a judge."""
    rows = []
    with torch.no_grad():
        for image in judges.values():
            planes = image / 127.5 - 1.0
            tiles = [image[0].cpu().numpy().astype(np.uint8)]
            pictures = (finished(trainee.style, teacher(planes), planes), trainee.average.picture(trainee.style, planes))
            for picture in pictures:
                tile = bytes_of(trainee.style, picture)
                tiles.append(np.broadcast_to(tile, (3, *tile.shape[1:])))
            rows.append(np.concatenate([tile.transpose(1, 2, 0)[::, :, ::-1] for tile in tiles], axis=1))
    Image.fromarray(np.concatenate(rows, axis=0)).save(file, quality=85)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path)
    parser.add_argument("output", type=Path)
    parser.add_argument("--seconds", type=float, default=10_000, help="the whole time (10000)")
    parser.add_argument("--networks", default=NETWORKS, help=f"styles with shapes, separated by commas ({NETWORKS})")
    parser.add_argument("--parts", type=int, default=2400, help="parts of pictures to train on (2400)")
    parser.add_argument("--frames", type=int, default=120, help="whole frames to train on (120)")
    parser.add_argument("--at-once", type=int, default=8, help="parts in a step; a frame counts as eight (8)")
    parser.add_argument("--start", type=Path, metavar="FILE", help="goes on from these numbers, such as a students.npz")
    parser.add_argument("--rate", type=float, default=LEARNING_RATE, help=f"the largest learning rate ({LEARNING_RATE})")
    parser.add_argument("--squared", type=float, default=6.0, help="what squared differences weigh in the loss (6)")
    parser.add_argument("--averaged", type=int, default=1000, help="steps in the running average of the numbers (1000)")
    parser.add_argument("--specks", type=int, default=30, help="made-up pictures of specks in the dark (30)")
    parser.add_argument("--sheets", action="store_true", help="writes a picture of the judges for each network")
    options = parser.parse_args()
    end_s = time.monotonic() + options.seconds

    device = torch.device("cuda" if torch.cuda.is_available() else "cpu")
    torch.manual_seed(SEED)
    rng = np.random.default_rng(SEED)
    torch.backends.cuda.matmul.allow_tf32 = torch.backends.cudnn.allow_tf32 = True
    torch.backends.cudnn.benchmark = True
    networks = [name.split(".") for name in options.networks.split(",")]
    teachers = {style: Teacher(options.folder / "teacher.npz", style).to(device) for style, _ in networks}
    pictures = [
        torch.from_numpy(picture).permute(2, 0, 1).contiguous().to(device)
        for picture in read_pictures(options.folder / "pictures", options.specks, rng)
    ]
    print(f"{len(pictures)} pictures on {device}", flush=True)
    parts = Pool(pictures, teachers, options.parts, (PART_SIDE, PART_SIDE), rng, min(options.at_once, 16))
    frames = Pool(pictures, teachers, options.frames, (FRAME_HEIGHT, FRAME_WIDTH), rng, max(1, options.at_once // 8))
    print(f"the teachers drew {options.parts} parts and {options.frames} frames; {end_s - time.monotonic():.0f} s left", flush=True)

    course = Course(options.rate, options.squared, options.averaged)
    trainees = {f"{style}.{shape}": Trainee(style, Shape.parse(shape), course, device) for style, shape in networks}
    if options.start:
        with np.load(options.start) as numbers:
            for name, trainee in trainees.items():
                trainee.start(numbers, name)
    judges = read_judges(options.folder / "judges", device)
    count = train(trainees, Batch(parts, options.at_once), Batch(frames, max(1, options.at_once // 8)), end_s, course)

    options.output.mkdir(parents=True, exist_ok=True)
    results, numbers = {}, {}
    for name, trainee in trainees.items():
        results[name] = judged(trainee, teachers[trainee.style], judges)
        print(f"{name}: {json.dumps(results[name])}", flush=True)
        for key, value in trainee.average.state_dict().items():
            numbers[f"{name}.{key}"] = value.cpu().numpy().astype(np.float16)
        if options.sheets:
            write_sheet(trainee, teachers[trainee.style], judges, options.output / f"{name}.jpg")
    np.savez_compressed(options.output / "students.npz", **numbers)
    (options.output / "results.json").write_text(json.dumps({"steps": count, "networks": results}, indent=1))
    print(f"{count} steps of {options.at_once}", flush=True)


if __name__ == "__main__":
    main()
