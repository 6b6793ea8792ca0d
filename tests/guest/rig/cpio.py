"""Writes initramfs archives ("newc"): everything owned by root, no privileges and no cpio program needed."""
import os
import stat


class CpioWriter:
    """One archive. Parent directories come by themselves; close() writes the end mark. The kernel unpacks concatenated
    archives, so that a file of an overlay replaces the one of the base image."""

    def __init__(self, stream):
        self._stream = stream
        self._inode = 0
        self._written = set()

    def directory(self, path, mode=0o755):
        self._add(path, stat.S_IFDIR | mode)

    def file(self, path, data, mode=0o644):
        self._add(path, stat.S_IFREG | mode, data)

    def symlink(self, path, target):
        self._add(path, stat.S_IFLNK | 0o777, target.encode())

    def device(self, path, mode, major, minor):
        """A character device."""
        self._add(path, stat.S_IFCHR | mode, rdev=(major, minor))

    def copy(self, source, path=None):
        """The contents of a file (links followed), at the same path if none is given."""
        with open(source, "rb") as stream:
            self.file(path or source, stream.read(), 0o755 if os.access(source, os.X_OK) else 0o644)

    def tree(self, source, path):
        """A folder with all that is in it, links followed."""
        for folder, folders, names in os.walk(source, followlinks=True):
            folders.sort()
            for name in sorted(names):
                full = os.path.join(folder, name)
                if os.path.isfile(full):
                    self.copy(full, os.path.join(path, os.path.relpath(full, source)))

    def close(self):
        self._header("TRAILER!!!", 0, b"", (0, 0))
        self._stream.write(b"\0" * (-self._stream.tell() % 512))

    def _add(self, path, mode, data=b"", rdev=(0, 0)):
        name = path.strip("/")
        if name in self._written:
            return
        self._written.add(name)
        parent = os.path.dirname(name)
        if parent and parent not in self._written:
            self.directory(parent)
        self._header(name, mode, data, rdev)

    def _header(self, name, mode, data, rdev):
        encoded = name.encode() + b"\0"
        self._inode += 1
        links = 2 if stat.S_ISDIR(mode) else 1
        fields = (self._inode, mode, 0, 0, links, 0, len(data), 0, 0, rdev[0], rdev[1], len(encoded), 0)
        self._stream.write(b"070701" + b"".join(b"%08X" % field for field in fields) + encoded)
        self._align()
        self._stream.write(data)
        self._align()

    def _align(self):
        self._stream.write(b"\0" * (-self._stream.tell() % 4))
