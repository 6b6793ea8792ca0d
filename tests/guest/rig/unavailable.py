"""What to do when something the rig needs cannot be had."""
import os

SKIPPED = 77


class RigUnavailable(Exception):
    """A package, program or download that the rig cannot do without is missing; the text says which and what would help."""


def report(error):
    """Prints the reason; returns the exit status: a failure in CI (the guest tests must run there), else a loud skip."""
    in_ci = bool(os.environ.get("CI"))
    print(f"guest rig: {'FAILED' if in_ci else 'SKIPPED'}: {error}", flush=True)
    if not in_ci:
        print("guest rig: nothing was proven on a real kernel; with CI set in the environment this is a failure", flush=True)
    return 1 if in_ci else SKIPPED
