"""A machine with USB HID devices that only this process and its children see: other folders mounted over /sys and
/dev in a mount namespace of their own. Nothing of the real machine is touched."""
import atexit
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

import call_trace
import sysfs_tree

ENTERED = "QRX_PRIVATE_MACHINE"
# Nodes that are younger may still be waiting for udevd's rules, which costs further looks; nobody's machine is that
# fresh for long.
SETTLED_SECONDS = 1.1


class NotPermitted(Exception):
    pass


def enter():
    """Starts this program again inside of a new mount namespace; returns there. As root, or with a user namespace
    where the system lets everyone have one."""
    if os.environ.pop(ENTERED, None):
        return
    namespaces = ["--mount", "--propagation", "private"]
    if os.geteuid() != 0:
        namespaces += ["--user", "--map-root-user"]
    command = ["unshare"] + namespaces
    try:
        subprocess.run(command + ["mount", "-t", "tmpfs", "tmpfs", "/sys"], check=True, capture_output=True, text=True)
    except OSError as reason:
        raise NotPermitted(f"no mount namespace can be had: {reason}") from None
    except subprocess.CalledProcessError as reason:
        raise NotPermitted(f"no mount namespace can be had: {reason.stderr.strip()}") from None
    sys.stdout.flush()
    os.environ[ENTERED] = "1"
    os.execvp(command[0], command + [sys.executable] + sys.argv)


def require_strace():
    path = shutil.which("strace")
    if path is None:
        raise NotPermitted("strace is not installed")
    return path


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)


class PrivateMachine:
    def __init__(self):
        self._stage = pathlib.Path(tempfile.mkdtemp(prefix="qrx-machine-"))
        mount("-t", "tmpfs", "tmpfs", self._stage)
        atexit.register(self._leave)
        self._mounted = []
        if os.path.isdir("/run/udev"):
            mount("-t", "tmpfs", "tmpfs", "/run/udev")

    def _leave(self):
        self._hide()
        subprocess.run(["umount", "--recursive", self._stage], check=True)
        self._stage.rmdir()

    def _hide(self):
        while self._mounted:
            subprocess.run(["umount", "--recursive", self._mounted.pop()], check=True)

    def show(self, nodes, kind="panel"):
        """From now on the machine has so many HID interfaces, connected for a while."""
        self._hide()
        root = self._stage / f"{kind}-{nodes}"
        if not root.exists():
            tree = sysfs_tree.SysfsTree(root, kind)
            tree.add_devices(nodes)
            for name in ("null", "zero", "urandom"):
                (tree.dev / name).touch()
                mount("--bind", f"/dev/{name}", tree.dev / name)
        for name in ("sys", "dev"):
            mount("--rbind", root / name, f"/{name}")
            self._mounted.append(f"/{name}")
        youngest = max(path.stat().st_ctime for path in (root / "dev").glob("hidraw*"))
        time.sleep(max(0.0, youngest + SETTLED_SECONDS - time.time()))

    @staticmethod
    def run(command):
        """A program on this machine; its standard output."""
        environment = {"PATH": os.environ.get("PATH", ""), "SYSTEMD_DEVICE_VERIFY_SYSFS": "0"}
        result = subprocess.run([str(part) for part in command], env=environment, text=True, stdout=subprocess.PIPE,
                                timeout=120)
        if result.returncode != 0:
            raise RuntimeError(f"{command} ended with {result.returncode}")
        return result.stdout

    def traced_steps(self, program, times=1):
        """System calls of a program step by step; see call_trace."""
        strace = require_strace()
        with tempfile.NamedTemporaryFile(dir=self._stage, suffix=".trace") as trace:
            output = self.run([strace, "-f", "-y", "-qq", "-o", trace.name, program, times])
            return call_trace.steps(pathlib.Path(trace.name).read_text(errors="replace")), output
