"""The base image: kernel, modules, busybox, udevd and init, built once for each kernel version."""
import fcntl
import hashlib
import os
import re
import shutil
import subprocess
from contextlib import contextmanager

import kernel
from closure import add_program
from cpio import CpioWriter
from unavailable import RigUnavailable

_HERE = os.path.dirname(os.path.abspath(__file__))
_GUEST_FILES = {"init": "/init", "start-udevd": "/sbin/start-udevd", "stop-udevd": "/sbin/stop-udevd"}
_FOLDERS = ["/dev", "/proc", "/sys", "/run", "/root", "/host", "/tmp", "/etc/udev/rules.d", "/var"]


class Image:
    """Paths of the files that QEMU boots."""

    def __init__(self, cache):
        self.kernel = os.path.join(cache, "vmlinux")
        self.base = os.path.join(cache, "base.cpio")
        self.stamp = os.path.join(cache, "stamp")


def _source(name):
    return os.path.join(_HERE, "files" if name in _GUEST_FILES else "", name)


def _recipe():
    """Changes whenever the rig itself would build another image."""
    digest = hashlib.sha256()
    for name in sorted(["cpio.py", "closure.py", "image.py", "kernel.py", *_GUEST_FILES]):
        with open(_source(name), "rb") as stream:
            digest.update(stream.read())
    return digest.hexdigest()[:16]


@contextmanager
def _alone(cache):
    """Two test runs may share a cache: one builds, the other waits."""
    with open(os.path.join(cache, "lock"), "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def _add_busybox(archive):
    busybox = shutil.which("busybox")
    if not busybox:
        raise RigUnavailable("busybox is not installed (package busybox-static)")
    add_program(archive, busybox, "/bin/busybox")
    names = subprocess.run([busybox, "--list-full"], capture_output=True, text=True, check=True).stdout.split()
    for name in names:
        archive.symlink("/" + name.removeprefix("usr/"), "/bin/busybox")


def _add_accounts(archive, rules):
    """The accounts of the guest: root, an ordinary user, and every group that a udev rule names."""
    groups = sorted(set(re.findall(r'GROUP="([a-z][a-z0-9_-]*)"', rules)) | {"input", "plugdev"})
    lines = ["root:x:0:", "user:x:1000:", "nogroup:x:65534:"]
    lines += [f"{name}:x:{100 + number}:" for number, name in enumerate(groups)]
    archive.file("/etc/group", ("\n".join(lines) + "\n").encode())
    archive.file("/etc/passwd", b"root:x:0:0:root:/root:/bin/sh\nuser:x:1000:1000:user:/tmp:/bin/sh\n"
                                b"nobody:x:65534:65534:nobody:/nonexistent:/bin/false\n")


def _add_udev(archive):
    udevadm = shutil.which("udevadm", path="/bin:/usr/bin:/sbin:/usr/sbin")
    rules = "/usr/lib/udev/rules.d"
    if not udevadm or not os.path.isdir(rules):
        raise RigUnavailable("udev is not installed (package udev)")
    if not os.path.exists(os.path.join(rules, "73-seat-late.rules")):
        raise RigUnavailable("udev's rules for who sits at the machine are not installed (package systemd)")
    add_program(archive, udevadm, "/bin/udevadm")
    archive.symlink("/lib/systemd/systemd-udevd", "/bin/udevadm")
    archive.tree(rules, "/lib/udev/rules.d")
    for program in ("fido_id",):
        if os.path.exists(f"/usr/lib/udev/{program}"):
            add_program(archive, f"/usr/lib/udev/{program}", f"/lib/udev/{program}")
    archive.file("/etc/udev/udev.conf", b"")
    text = []
    for name in sorted(os.listdir(rules)):
        with open(os.path.join(rules, name), encoding="utf-8", errors="replace") as stream:
            text.append(stream.read())
    _add_accounts(archive, "".join(text))


def _add_modules(archive, stage, version):
    tree = kernel.ModuleTree(stage, version)
    boot = tree.in_load_order(kernel.BOOT_MODULES)
    names = kernel.DEMAND_MODULES + [name for folder in kernel.DEMAND_FOLDERS for name in tree.below(folder)]
    wanted = boot + [path for path in tree.in_load_order(names) if path not in boot]
    smaller = os.path.join(stage, "image")
    for path in wanted:
        target = os.path.join(smaller, "lib/modules", version, path)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        os.replace(os.path.join(tree.root, path), target)
    for name in ("modules.builtin", "modules.builtin.modinfo", "modules.order"):
        os.replace(os.path.join(tree.root, name), os.path.join(smaller, "lib/modules", version, name))
    kernel.ModuleTree(smaller, version)
    archive.tree(os.path.join(smaller, "lib/modules"), "/lib/modules")
    archive.file("/etc/boot-modules", "".join(f"/lib/modules/{version}/{path}\n" for path in boot).encode())


def _write_base(path, stage, version):
    with open(path + ".new", "wb") as stream:
        archive = CpioWriter(stream)
        for folder in _FOLDERS:
            archive.directory(folder, 0o1777 if folder == "/tmp" else 0o755)
        archive.device("/dev/console", 0o600, 5, 1)
        archive.device("/dev/null", 0o666, 1, 3)
        for name, target in _GUEST_FILES.items():
            with open(_source(name), "rb") as script:
                archive.file(target, script.read(), 0o755)
        _add_busybox(archive)
        _add_udev(archive)
        _add_modules(archive, stage, version)
        archive.close()
    os.replace(path + ".new", path)


def build_image(cache):
    """The image of Debian's current kernel, built or taken from the cache folder. Raises RigUnavailable."""
    os.makedirs(cache, exist_ok=True)
    image = Image(cache)
    package, file_name = kernel.find_package()
    stamp = f"{file_name} {_recipe()}\n"
    with _alone(cache):
        if os.path.exists(image.stamp):
            with open(image.stamp, encoding="ascii") as stream:
                if stream.read() == stamp:
                    return image
            os.unlink(image.stamp)
        package_file = kernel.download(package, file_name, cache)
        stage = os.path.join(cache, "stage")
        version = kernel.unpack(package_file, stage)
        kernel.extract_kernel(os.path.join(stage, "boot", f"vmlinuz-{version}"), image.kernel)
        _write_base(image.base, stage, version)
        shutil.rmtree(stage)
        with open(image.stamp, "w", encoding="ascii") as stream:
            stream.write(stamp)
    return image
