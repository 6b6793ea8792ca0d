"""What programs in the guest print, sorted by its first word."""
import subprocess
import sys


def run(command, kinds):
    """Runs the rig's command line. Returns its exit status, and of each kind the lines that begin with that word,
    without it; every other line is shown at once."""
    lines = {kind: [] for kind in kinds}
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, errors="replace") as rig:
        for line in rig.stdout:
            kind, _, rest = line.rstrip("\n").partition(" ")
            if kind in lines:
                lines[kind].append(rest)
            else:
                sys.stdout.write(line)
                sys.stdout.flush()
    return rig.returncode, lines
