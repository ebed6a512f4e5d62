"""The command line: python -m vorin_stt stylize|devices|selftest."""

from __future__ import annotations

import argparse
import sys

import vorin_stt as vs

# Exit statuses, those of vorin-stylize.
DONE, SOME_FAILED, USAGE, MODEL, DEVICE, FILE, CANCELLED = 0, 1, 2, 3, 4, 5, 130

STYLES = ("pencil", "stipple", "lightgrey", "cartoon", "transfer")

HELP = """\
The program vorin-stylize does more: folders, pipes, sheets and jobs.

Exit status: 0 done, 1 the input is damaged or a test failed, 2 usage, 3 model,
4 device, 5 file or other failure, 130 cancelled."""


def tell(line: str) -> None:
    """Prints a line for the user."""
    print(f"vorin_stt: {line}", file=sys.stderr, flush=True)


def size_text(text: str) -> tuple[int, int]:
    """Parses "640x480"."""
    width, cross, height = text.partition("x")
    if not (cross and width.isdecimal() and height.isdecimal()):
        raise argparse.ArgumentTypeError(f"{text!r} is not a size: write it as 640x480")
    return int(width), int(height)


def stylize(arguments: argparse.Namespace) -> int:
    """Restyles a file."""

    def show(done: int, expected: int | None) -> None:
        of = f" of {expected}" if expected else ""
        print(f"\r\033[K{done}{of} frames", end="", file=sys.stderr, flush=True)

    shows = sys.stderr.isatty() and not arguments.quiet
    options = {name: value for name, value in vars(arguments).items() if name not in ("command", "work", "quiet")}
    result = vs.stylize(**options, on_progress=show if shows else None)
    if shows:
        print("\r\033[K", end="", file=sys.stderr)
    if not arguments.quiet:
        width, height = result.size
        tell(f"{arguments.output}: {width}x{height}, {result.info.style}, {result.info.device}: {result.info.reason}")
    for line in result.warnings + result.damage:
        tell(line)
    return SOME_FAILED if result.damage else DONE


def devices(arguments: argparse.Namespace) -> int:
    """Lists the devices."""
    for device in vs.devices():
        print(device.kind, device.name, device.reason, sep="\t")
    return DONE


def selftest(arguments: argparse.Namespace) -> int:
    """Restyles a built-in picture in all styles and compares the results with the expected ones."""
    from vorin_stt import _native
    from vorin_stt.errors import error_of
    from vorin_stt.stylizer import Info, native_options

    statuses = [DONE]

    def show(style: _native.Style, kind: str | None, text: str, difference: int | None, allowed: int) -> None:
        line = f"{style.name}: ok"
        if kind is not None:
            error = error_of(kind, text)
            statuses.append(status_of(error))
            line = f"{style.name}: FAILED: {error}"
        if difference is not None:
            line += f", off by {difference} at most, {allowed} allowed"
        elif kind is None:
            line += ", not compared: this package holds no expected result"
        print(line, flush=True)

    options = native_options("pencil", None, arguments.models, None, arguments.device, arguments.precision)
    report, problem = _native.self_test(options, show)
    info = Info.of(report)
    print(f"on {info.device}: {info.reason}")
    if problem:
        tell(problem)
    return statuses[1] if len(statuses) > 1 else DONE


def add_common(parser: argparse.ArgumentParser) -> None:
    """The options on where and with which networks."""
    parser.add_argument(
        "--models", metavar="FOLDER", help="of model_st.bin (default: $VORIN_STT_MODELS, or vorin-stt-models)"
    )
    parser.add_argument(
        "--device", choices=("auto", "integrated", "discrete", "software"), default="auto", help="(default: auto)"
    )
    parser.add_argument("--precision", choices=("f32", "bf16"), default="f32", help="of the software device (f32)")


def parsed(words: list[str] | None) -> argparse.Namespace:
    """The arguments of the command line."""
    parser = argparse.ArgumentParser(
        prog="python -m vorin_stt",
        description="Restyles an image or a clip.",
        epilog=HELP,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    one = commands.add_parser("stylize", help="restyle an image or a clip", description="Restyles an image or a clip.")
    one.add_argument("input", metavar="FILE")
    one.add_argument("-o", dest="output", metavar="FILE", required=True, help="its extension says what it is")
    one.add_argument("--style", choices=STYLES, required=True)
    one.add_argument("--style-image", metavar="FILE", help="whose look the style transfer gives")
    one.add_argument("--network", choices=("512", "256", "540p"), help="of the style transfer (512)")
    one.add_argument("--size", metavar="WxH", type=size_text, help="of the output, as it is shown")
    one.add_argument("--strength", metavar="S", type=float, default=1.0, help="0, the input, to 1, the result (1)")
    one.add_argument("--keep-colors", action="store_true", help="keep the colours of the input")
    one.add_argument("--steady", action="store_true", help="reduce the flicker of a clip")
    one.add_argument("--overwrite", action="store_true", help="replace an existing output")
    one.add_argument("--quiet", action="store_true", help="print faults only")
    add_common(one)
    one.set_defaults(work=stylize)
    test = commands.add_parser("selftest", help="restyle a built-in picture in all styles and compare the results")
    add_common(test)
    test.set_defaults(work=selftest)
    commands.add_parser("devices", help="list what styles can run on").set_defaults(work=devices)
    return parser.parse_args(words)


def status_of(error: vs.VorinError) -> int:
    """The exit status for an error."""
    statuses = ((vs.ModelError, MODEL), (vs.DeviceError, DEVICE), (vs.FrameError, USAGE), (vs.Cancelled, CANCELLED))
    other = FILE if error._is_of_file else USAGE
    return next((status for kind, status in statuses if isinstance(error, kind)), other)


def main(words: list[str] | None = None) -> int:
    """Returns the exit status."""
    arguments = parsed(words)
    try:
        status: int = arguments.work(arguments)
    except vs.VorinError as error:
        tell(str(error))
        status = status_of(error)
    except KeyboardInterrupt:
        tell("cancelled")
        status = CANCELLED
    return status


if __name__ == "__main__":
    sys.exit(main())
