"""Which shared libraries a program needs to start."""
import re
import subprocess

_LIBRARY = re.compile(r"^\s*(?:\S+ => )?(/\S+) \(0x[0-9a-f]+\)$", re.MULTILINE)
_MISSING = re.compile(r"^\s*(\S+) => not found$", re.MULTILINE)


def shared_libraries(program):
    """Absolute paths as the loader will look for them, the loader included; none for a static program."""
    listing = subprocess.run(["ldd", program], capture_output=True, text=True, check=False).stdout
    missing = _MISSING.findall(listing)
    if missing:
        raise FileNotFoundError(f"{program} needs {', '.join(missing)}, which the loader does not find")
    return _LIBRARY.findall(listing)


def add_program(archive, program, path=None):
    """The program and its libraries, each at its own path (run paths stay true), into a CpioWriter."""
    archive.copy(program, path)
    for library in shared_libraries(program):
        archive.copy(library)
