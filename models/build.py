"""Builds the demo networks under the names that the library loads.

Usage: build.py [--portable] FOLDER. The folder afterwards holds an .xml and a .bin file for each name, painting.png (a style image
for style type 0), selftest.json, and in `candidates` the float and the 8-bit form of each network that has both.

For this machine: under the name of the 8-bit network it packs the faster of the two forms that is good enough, as
measured here. Portable: it gets the 8-bit form, and nothing is measured, so the files are the same whatever machine made them.
"""

from __future__ import annotations

import argparse
import re
import shutil
import sys
import time
from collections.abc import Mapping, Sequence
from pathlib import Path

import numpy as np
import openvino as ov
from measure import likeness, medians_ms, precisions
from networks import DATA, NETWORKS, Network
from overflow_check import overflowing_layers
from quantise import quantised

# The 8-bit form whose worst held-out picture falls below this is not good enough.
LEAST_PSNR_DB = 32.0

FLOAT, EIGHT_BIT = "float", "8-bit"
# Milliseconds by form and, inside, by precision.
Times = Mapping[str, Mapping[str, float]]


def build_network(network: Network, folder: Path, portable: bool) -> None:
    """Writes one network under each of its names, and prints the measurements."""
    started = time.monotonic()
    model = network.build()
    if network.ranges_name is None:
        size = save(model, folder / f"{network.name}.xml")
        print(f"{network.name}: float {size}; {time.monotonic() - started:.0f} s", flush=True)
        return
    forms = {form: folder / "candidates" / f"{network.name}-{form}.xml" for form in (FLOAT, EIGHT_BIT)}
    # The 8-bit form is made from the written float one, with its constants in half precision.
    sizes = [save(model, forms[FLOAT])]
    sizes += [save(quantised(ov.Core().read_model(forms[FLOAT]), network.ranges()), forms[EIGHT_BIT])]
    if overflowing := overflowing_layers(ov.Core().read_model(forms[EIGHT_BIT])):
        raise ValueError(f"{network.name}: pairs of products can leave 16 bits in {', '.join(overflowing)}")
    chosen, report = (EIGHT_BIT, "") if portable else _chosen_here(network, forms)
    copy_network(forms[FLOAT], folder / f"{network.name}.xml")
    copy_network(forms[chosen], folder / f"{network.twin_name}.xml")
    print(f"{network.name}: float {sizes[0]}; 8-bit {sizes[1]}; {report}{time.monotonic() - started:.0f} s", flush=True)


def _chosen_here(network: Network, forms: Mapping[str, Path]) -> tuple[str, str]:
    """The form for this machine, and what was measured."""
    samples = network.held_out()
    figures = likeness(forms[FLOAT], forms[EIGHT_BIT], samples, network.picture)
    report = f"{len(figures)} held-out samples: worst {min(figures):.1f} dB, mean {np.mean(figures):.1f} dB; "
    times = {precision: medians_ms(forms, samples[0], precision) for precision in precisions()}
    by_form = {form: {precision: times[precision][form] for precision in times} for form in forms}
    chosen = choice(figures, by_form)
    for precision, by in times.items():
        report += f"{precision} {by[FLOAT]:.0f} ms in float, {by[EIGHT_BIT]:.0f} ms in 8 bits; "
    if min(figures) < LEAST_PSNR_DB:
        print(f"{network.name}: 8 bits are not good enough on this machine, so {network.twin_name} is the float network", flush=True)
    return chosen, report + f"here {chosen}; "


def choice(figures: Sequence[float], times: Times) -> str:
    """The form to use: the faster one; if precisions disagree, the one that loses less; 8 bits only if good enough."""
    if min(figures) < LEAST_PSNR_DB:
        return FLOAT
    fastest = {precision: min(by[precision] for by in times.values()) for precision in times[FLOAT]}
    return min(times, key=lambda form: max(times[form][precision] / fastest[precision] for precision in fastest))


def save(model: ov.Model, file: Path) -> str:
    """Writes a network, the same bytes in every run, and returns its size as text.

    The runtime numbers nodes without a name through all that the process made, so they are named by their place here. A copy holds
    all nodes, also those that stand for arguments left out.
    """
    file.parent.mkdir(parents=True, exist_ok=True)
    model = model.clone()
    for place, node in enumerate(model.get_ordered_ops()):
        node.set_friendly_name(re.sub(r"_[0-9]+(?=/|$)", f"_{place}", node.get_friendly_name()))
    ov.save_model(model, file)
    return f"{(file.stat().st_size + file.with_suffix('.bin').stat().st_size) / 1e6:.1f} MB"


def copy_network(source: Path, target: Path) -> None:
    """Copies a network's two files."""
    for suffix in (".xml", ".bin"):
        shutil.copyfile(source.with_suffix(suffix), target.with_suffix(suffix))


def main(arguments: list[str]) -> int:
    parser = argparse.ArgumentParser(prog="build.py", description="Builds the demo networks.")
    parser.add_argument("folder", type=Path, metavar="FOLDER")
    parser.add_argument("--portable", action="store_true", help="the same files on every machine; nothing is measured")
    options = parser.parse_args(arguments)
    try:
        for network in NETWORKS:
            build_network(network, options.folder, options.portable)
        for file in ("painting.png", "selftest.json"):
            shutil.copyfile(DATA / file, options.folder / file)
    except KeyboardInterrupt:
        return 130
    except (OSError, MemoryError, RuntimeError) as failure:
        # The runtime's messages begin with positions in its own source; the last line is the reason.
        reason = (str(failure).strip() or type(failure).__name__).splitlines()[-1]
        print(f"models: {reason}: the networks are not built; correct this and run models/build again", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
