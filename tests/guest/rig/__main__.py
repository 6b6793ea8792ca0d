"""Command line of the guest rig; see ../README.md."""
import argparse
import os
import shlex
import signal
import sys

from guest import Boot, run_guest
from image import build_image
from unavailable import RigUnavailable, report


def _pair(separator):
    def split(text):
        first, found, second = text.partition(separator)
        if not found or not first or not second:
            raise argparse.ArgumentTypeError(f"{text!r} is not two words joined by {separator}")
        return first, second
    return split


def _arguments():
    parser = argparse.ArgumentParser(prog="rig", description="Runs programs on a real Debian kernel under QEMU.")
    parser.add_argument("--cache", default=os.environ.get("QRX_GUEST_CACHE"),
                        help="folder of the kernel and the base image (default: $QRX_GUEST_CACHE)")
    commands = parser.add_subparsers(dest="action", required=True)
    commands.add_parser("image", help="download the kernel and build the base image if they are not there")
    run = commands.add_parser("run", help="boot once and run programs one after the other")
    run.add_argument("--carry", action="append", default=[], metavar="PROGRAM", help="carry a program in without running it")
    run.add_argument("--data", action="append", default=[], type=_pair(":"), metavar="SOURCE:PATH",
                     help="a file or folder and its absolute path in the guest")
    run.add_argument("--data-from-env", action="append", default=[], metavar="NAME",
                     help="if this environment variable is set, carry the folder it names and set it in the guest")
    run.add_argument("--env", action="append", default=[], type=_pair("="), metavar="NAME=VALUE")
    run.add_argument("--timeout", type=float, default=120, help="seconds for the boot and all programs")
    run.add_argument("--memory", type=int, default=512, metavar="MIB")
    run.add_argument("--udevd", action="store_true", help="start systemd-udevd first")
    run.add_argument("--icount", action="store_true", help="one virtual nanosecond for each instruction")
    run.add_argument("--share", metavar="FOLDER", help="mount this folder of the host at /host, writable")
    run.add_argument("--keep", action="store_true", help="keep the initrd and the console's log")
    run.add_argument("programs", nargs="+", metavar="PROGRAM", help="path, with arguments in the same word if any")
    return parser.parse_args()


def _boot(arguments):
    boot = Boot(arguments.cache)
    boot.programs = [shlex.split(program) for program in arguments.programs]
    for words in boot.programs:
        words[0] = os.path.abspath(words[0])
    boot.extra = [os.path.abspath(program) for program in arguments.carry]
    boot.data = list(arguments.data)
    boot.environment = dict(arguments.env)
    for name in arguments.data_from_env:
        if os.environ.get(name):
            boot.data.append((os.environ[name], f"/data/{name}"))
            boot.environment[name] = f"/data/{name}"
    boot.timeout = arguments.timeout
    boot.memory_mib = arguments.memory
    boot.udevd = arguments.udevd
    boot.icount = arguments.icount
    boot.share = arguments.share
    boot.keep = arguments.keep
    return boot


def _raise_exit(*_):
    sys.exit(143)


def main():
    arguments = _arguments()
    if not arguments.cache:
        print("rig: name a cache folder with --cache or QRX_GUEST_CACHE", file=sys.stderr)
        return 2
    # So that QEMU and the temporary folder go when the test driver ends this program.
    signal.signal(signal.SIGTERM, _raise_exit)
    try:
        if arguments.action == "image":
            build_image(arguments.cache)
            return 0
        return run_guest(_boot(arguments))
    except RigUnavailable as error:
        return report(error)


if __name__ == "__main__":
    sys.exit(main())
