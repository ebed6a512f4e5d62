"""Times the networks of this machine's package against both forms that each could have, float and 8-bit.

Usage: bench/package, after scripts/demo. A row is over its limit when the package holds the slower form. Then the small networks of the
fixed styles in both forms against the large ones that they learned from, in f32 floats.
"""

from __future__ import annotations

import sys
import tempfile
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(SOURCE / "models"))

import measure  # noqa: E402
import openvino as ov  # noqa: E402
from fixed_style import cartoon_network, light_grey_network  # noqa: E402
from networks import NETWORKS  # noqa: E402

LIMIT = 1.02
# Of a small network's time against the large one's.
SMALL_LIMIT = 1 / 3
LARGE = {"light_grey": light_grey_network, "cartoon": cartoon_network}


def main() -> int:
    folder = SOURCE / "build/models"
    measure.TURNS, measure.MOST_SECONDS = 41, 300.0
    for precision in measure.precisions():
        for network in (network for network in NETWORKS if network.ranges_name is not None):
            files = {form: folder / f"candidates/{network.name}-{form}.xml" for form in ("float", "8-bit")}
            files["package"] = folder / f"{network.twin_name}.xml"
            times = measure.medians_ms(files, network.held_out()[0], precision)
            fastest = min(times["float"], times["8-bit"])
            ratio = times["package"] / fastest
            print(
                f"{network.twin_name + ', ' + precision:<54} | {times['package']:8.1f} ms | {fastest:8.1f} ms | {ratio:6.3f}"
                f" | <= {LIMIT:.2f} | {'ok' if ratio <= LIMIT else 'OVER'} | float {times['float']:.1f} ms,"
                f" 8-bit {times['8-bit']:.1f} ms",
                flush=True,
            )
    with tempfile.TemporaryDirectory() as large_folder:
        for network in (network for network in NETWORKS if network.ranges_name in LARGE):
            files = {form: folder / f"candidates/{network.name}-{form}.xml" for form in ("float", "8-bit")}
            files["large"] = Path(large_folder) / f"{network.ranges_name}.xml"
            ov.save_model(LARGE[network.ranges_name](), files["large"])
            times = measure.medians_ms(files, network.held_out()[0], "f32")
            for form in ("float", "8-bit"):
                ratio = times[form] / times["large"]
                print(
                    f"{f'{network.ranges_name}, small, {form} : large, float, f32':<54} | {times[form]:8.1f} ms | {times['large']:8.1f} ms"
                    f" | {ratio:6.3f} | <= {SMALL_LIMIT:.2f} | {'ok' if ratio <= SMALL_LIMIT else 'OVER'}",
                    flush=True,
                )
    return 0


if __name__ == "__main__":
    sys.exit(main())
