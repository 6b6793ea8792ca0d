"""What one run adds to the base image: programs with their libraries, and data."""
import os

from closure import add_program
from cpio import CpioWriter


def write_initrd(path, base, programs, data):
    """The base image followed by an overlay. `data` is a list of (source, path in the guest), files or whole folders."""
    with open(base, "rb") as source, open(path, "wb") as stream:
        stream.write(source.read())
        archive = CpioWriter(stream)
        for program in programs:
            add_program(archive, program)
        for source_path, target in data:
            if os.path.isdir(source_path):
                archive.tree(source_path, target)
            else:
                archive.copy(source_path, target)
        archive.close()
