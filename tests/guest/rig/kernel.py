"""The kernel: finds Debian's current package, downloads it and takes out what a guest needs."""
import gzip
import lzma
import os
import platform
import re
import shutil
import struct
import subprocess
import tarfile

from unavailable import RigUnavailable

META_PACKAGE = "linux-image-amd64"

# In the guest from the start, in this order; what they depend on comes before them.
BOOT_MODULES = ["virtio_pci", "virtio_console", "xhci-pci", "usbhid", "hid-generic", "uhid", "evdev"]
# Carried along; a program loads them with modprobe.
DEMAND_MODULES = ["vhci-hcd", "usbip-host", "dummy_hcd", "libcomposite", "usb_f_hid", "9p", "9pnet_virtio"]
# All drivers of special devices: with udevd they load as on a user's machine.
DEMAND_FOLDERS = ["kernel/drivers/hid/"]


def _output(command, what):
    # An ordinary user's PATH lacks the folders of the administrator's programs.
    program = shutil.which(command[0], path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
    if not program:
        raise RigUnavailable(f"{command[0]} is not installed ({what})")
    done = subprocess.run([program, *command[1:]], capture_output=True, text=True, check=False,
                          env={**os.environ, "LC_ALL": "C"})
    if done.returncode != 0:
        raise RigUnavailable(f"{' '.join(command)} failed ({what}): {done.stderr.strip()}")
    return done.stdout


def find_package():
    """Name and archive file name of the kernel package that Debian installs today."""
    if platform.machine() != "x86_64":
        raise RigUnavailable(f"the guest is an x86-64 machine, this one is {platform.machine()}")
    listing = _output(["apt-cache", "depends", META_PACKAGE], "to find the kernel package")
    names = re.findall(r"Depends: (linux-image-\S+)", listing)
    if not names:
        raise RigUnavailable(f"apt knows no package behind {META_PACKAGE}; apt-get update may help")
    uris = _output(["apt-get", "download", "--print-uris", names[0]], "to find the kernel package's version")
    match = re.search(r"^'\S+' (\S+\.deb) ", uris, re.MULTILINE)
    if not match:
        raise RigUnavailable(f"apt has no source for {names[0]}; apt-get update may help")
    return names[0], match.group(1)


def download(package, file_name, cache):
    """Path of the package file, downloaded once."""
    path = os.path.join(cache, file_name)
    if os.path.exists(path):
        return path
    incoming = os.path.join(cache, "incoming")
    os.makedirs(incoming, exist_ok=True)
    command = ["apt-get", "download", "-q", "-o", "Acquire::Retries=3"]
    if os.geteuid() == 0:
        command += ["-o", "APT::Sandbox::User=root"]
    done = subprocess.run(command + [package], cwd=incoming, capture_output=True, text=True, check=False)
    if done.returncode != 0 or not os.path.exists(os.path.join(incoming, file_name)):
        raise RigUnavailable(f"{package} cannot be downloaded (apt-get update may help): {done.stderr.strip()}")
    os.replace(os.path.join(incoming, file_name), path)
    return path


def _wanted(name):
    return name.startswith("boot/vmlinuz-") or re.match(r"(usr/)?lib/modules/", name)


def unpack(package_file, stage):
    """Takes the boot image and all modules of the package into the folder `stage`; modules are uncompressed there. Returns the version."""
    shutil.rmtree(stage, ignore_errors=True)
    os.makedirs(stage)
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package_file], stdout=subprocess.PIPE) as unpacker:
        with tarfile.open(fileobj=unpacker.stdout, mode="r|") as archive:
            for member in archive:
                name = member.name.removeprefix("./")
                if not (member.isfile() and _wanted(name)):
                    continue
                data = archive.extractfile(member).read()
                if name.endswith(".ko.xz"):
                    name, data = name.removesuffix(".xz"), lzma.decompress(data)
                path = os.path.join(stage, name.removeprefix("usr/"))
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "wb") as stream:
                    stream.write(data)
    if unpacker.returncode != 0:
        os.unlink(package_file)
        raise RigUnavailable(f"{package_file} does not unpack; it was removed, the next run downloads it again")
    return os.listdir(os.path.join(stage, "lib/modules"))[0]


def extract_kernel(boot_image, path):
    """Writes the ELF file inside the compressed boot image: it boots 3 s faster under emulation. A compression that is not
    known here leaves the boot image as it is; that boots as well."""
    with open(boot_image, "rb") as stream:
        image = stream.read()
    start = ((image[0x1F1] or 4) + 1) * 512 + struct.unpack_from("<I", image, 0x248)[0]
    payload = image[start:start + struct.unpack_from("<I", image, 0x24C)[0]]
    if payload.startswith(b"\xfd7zXZ\0"):
        image = lzma.LZMADecompressor().decompress(payload)
    elif payload.startswith(b"\x1f\x8b"):
        image = gzip.decompress(payload[:-4])
    elif payload.startswith(b"\x28\xb5\x2f\xfd") and shutil.which("zstd"):
        image = subprocess.run(["zstd", "-dcq"], input=payload[:-4], stdout=subprocess.PIPE, check=True).stdout
    with open(path + ".new", "wb") as stream:
        stream.write(image)
    os.replace(path + ".new", path)  # a guest of another run may be booting the one before


class ModuleTree:
    """The unpacked modules and what each depends on."""

    def __init__(self, stage, version):
        self.root = os.path.join(stage, "lib/modules", version)
        _output(["depmod", "-b", stage, version], "to order the kernel's modules")
        self._dependencies = {}
        with open(os.path.join(self.root, "modules.dep"), encoding="ascii") as stream:
            for line in stream:
                path, _, needs = line.partition(":")
                self._dependencies[path] = needs.split()
        self._by_name = {self._name(path): path for path in self._dependencies}

    @staticmethod
    def _name(path):
        return os.path.basename(path).partition(".")[0].replace("-", "_")

    def in_load_order(self, names):
        """Paths below root of the modules and of all they need, each once, needed ones first."""
        order = []
        for name in names:
            path = self._by_name.get(name.replace("-", "_"))
            if path is None:
                raise RigUnavailable(f"the kernel package has no module {name}")
            for needed in reversed([path] + self._dependencies[path]):
                if needed not in order:
                    order.append(needed)
        return order

    def below(self, folder):
        """Names of the modules in a folder."""
        return sorted(self._name(path) for path in self._dependencies if path.startswith(folder))
