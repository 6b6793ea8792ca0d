"""The emulated machine: starts QEMU, talks to it and to the guest, and always ends it."""
import ctypes
import json
import os
import secrets
import selectors
import shutil
import signal
import socket
import subprocess
import time

from unavailable import RigUnavailable

QEMU = "qemu-system-x86_64"
TIME_LIMIT_EXCEEDED = 124
NO_STATUS = 125

_PR_SET_PDEATHSIG = 1
# Checks and mitigations that only cost time in a guest that lives for one test run.
_KERNEL_PARAMETERS = ("console=ttyS0 quiet panic=-1 nokaslr cryptomgr.notests audit=0 apparmor=0 mitigations=off "
                      "no_timer_check")


class GuestFailure(Exception):
    """The guest cannot go on: time limit, panic, QEMU gone. `status` is the exit status to report."""

    def __init__(self, status, text):
        super().__init__(text)
        self.status = status


def _die_with_parent():
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


class _Lines:
    """Cuts what arrives on a socket into lines."""

    def __init__(self, channel):
        self._channel = channel
        self._rest = b""

    def take(self):
        """Whole lines that have arrived; None at the end of the stream."""
        try:
            data = self._channel.recv(65536)
        except BlockingIOError:
            return []
        except ConnectionResetError:  # QEMU ended with something of ours unread
            return None
        if not data:
            return None
        *lines, self._rest = (self._rest + data).split(b"\n")
        return [line.decode("utf-8", "replace").rstrip("\r") for line in lines]


class _Output:
    """What programs say on the output port, cut at the mark that follows each of them. The mark is not shown."""

    def __init__(self, channel):
        self._channel = channel
        self._mark = None
        self._held = b""
        self._line_open = False
        self.is_complete = True

    def begin(self, mark):
        self._mark = mark
        self.is_complete = False

    def hand_on(self, stream):
        """Writes what has arrived, without an end that may be a part of the mark."""
        try:
            while data := self._channel.recv(65536):
                self._accept(data, stream)
        except (BlockingIOError, ConnectionResetError):
            pass
        stream.flush()

    def end(self, stream):
        """Writes what was held back, and ends a line that is open."""
        self._write(self._held, stream)
        self._held = b""
        if self._line_open:
            self._write(b"\n", stream)
        stream.flush()

    def _accept(self, data, stream):
        data = self._held + data
        self._held = b""
        if not self.is_complete:
            before, mark, after = data.partition(self._mark)
            if mark:
                self.is_complete = True
                data = before + after
            else:
                length = next(size for size in range(len(self._mark) - 1, -1, -1) if data.endswith(self._mark[:size]))
                data, self._held = data[:len(data) - length], data[len(data) - length:]
        self._write(data, stream)

    def _write(self, data, stream):
        if data:
            stream.write(data)
            self._line_open = not data.endswith(b"\n")


class Machine:
    """One boot. Used as a context manager: leaving it ends QEMU whatever happened."""

    def __init__(self, kernel, initrd, folder, memory_mib=512, share=None, icount=False):
        self._arguments = [
            QEMU, "-accel", "tcg", "-M", "q35", "-m", str(memory_mib), "-smp", "1", "-nodefaults", "-no-user-config",
            "-display", "none", "-no-reboot", "-kernel", kernel, "-initrd", initrd,
            "-append", _KERNEL_PARAMETERS + (" qrx_share=1" if share else ""),
            "-serial", f"file:{folder}/console.log", "-device", "virtio-serial-pci",
            "-device", "qemu-xhci,id=xhci,p2=8,p3=8"]
        if share:
            self._arguments += ["-virtfs", f"local,path={share},mount_tag=share,security_model=none"]
        if icount:
            self._arguments += ["-icount", "shift=0,sleep=off"]
        self._console = os.path.join(folder, "console.log")
        self._channels = {}
        self._lines = {}
        self._selector = selectors.DefaultSelector()
        self._process = None
        self._ready = False
        self._exit_status = None
        self._output = None

    def __enter__(self):
        if not shutil.which(QEMU):
            raise RigUnavailable(f"{QEMU} is not installed (package qemu-system-x86)")
        inherited = []
        for name in ("ctl", "out", "qmp"):
            ours, theirs = socket.socketpair()
            inherited.append(theirs)
            self._channels[name] = ours
            self._arguments += ["-chardev", f"socket,id={name},fd={theirs.fileno()}"]
            self._selector.register(ours, selectors.EVENT_READ, name)
            if name != "qmp":
                self._arguments += ["-device", f"virtserialport,chardev={name},name={name}"]
                ours.setblocking(False)
        self._arguments += ["-mon", "chardev=qmp,mode=control"]
        self._lines = {name: _Lines(self._channels[name]) for name in ("ctl", "qmp")}
        self._output = _Output(self._channels["out"])
        self._process = subprocess.Popen(self._arguments, pass_fds=[end.fileno() for end in inherited],
                                         stdin=subprocess.DEVNULL, preexec_fn=_die_with_parent)
        for end in inherited:
            end.close()
        try:
            self.qmp('{"execute": "qmp_capabilities"}', time.monotonic() + 30)
        except BaseException:
            self._end()
            raise
        return self

    def __exit__(self, *_):
        self._end()

    def wait_ready(self, deadline, output):
        """Until the guest has booted."""
        while not self._ready:
            self._step(deadline, output, "the guest did not boot")

    def run(self, command, deadline, output):
        """Runs a shell command in the guest; its output goes to the binary stream `output`. Returns its exit status."""
        self._exit_status = None
        # The status comes on another port and may overtake output: QEMU keeps what we have not read yet.
        mark = f"@end-{secrets.token_hex(16)}"
        self._output.begin(mark.encode())
        marked = f"( {command} ); status=$?; echo -n {mark}; exit $status"
        self._channels["ctl"].sendall(b"run " + marked.encode() + b"\n")
        try:
            while self._exit_status is None or not self._output.is_complete:
                self._step(deadline, output, "the program did not end")
        finally:
            self._output.end(output)
        return self._exit_status

    def qmp(self, request, deadline):
        """One command of QEMU's machine protocol, as text; the answer's line. Events are left out."""
        self._channels["qmp"].settimeout(max(0.001, deadline - time.monotonic()))
        try:
            self._channels["qmp"].sendall(request.encode() + b"\n")
            while True:
                lines = self._lines["qmp"].take()
                if lines is None:
                    raise GuestFailure(NO_STATUS, f"QEMU ended with status {self._process.wait()}")
                for line in lines:
                    if set(json.loads(line)) & {"return", "error"}:
                        return line
        except TimeoutError:
            raise GuestFailure(TIME_LIMIT_EXCEEDED, f"QEMU did not answer {request}") from None
        finally:
            self._channels["qmp"].settimeout(0)

    def console_tail(self, count=60):
        """The last lines of the kernel's console."""
        try:
            with open(self._console, encoding="utf-8", errors="replace") as stream:
                return "".join(stream.readlines()[-count:])
        except FileNotFoundError:
            return ""

    def _step(self, deadline, output, what):
        remaining = deadline - time.monotonic()
        if remaining <= 0:
            raise GuestFailure(TIME_LIMIT_EXCEEDED, f"{what} in time")
        for key, _ in self._selector.select(remaining):
            if key.data == "out":
                self._output.hand_on(output)
                continue
            lines = self._lines[key.data].take()
            if lines is None:
                self._output.hand_on(output)
                raise GuestFailure(NO_STATUS, f"{what}: QEMU is gone, status {self._process.wait()} (a panic ends it with 0)")
            if key.data == "ctl":
                for line in lines:
                    self._handle(line, deadline)

    def _handle(self, line, deadline):
        verb, _, rest = line.partition(" ")
        if verb == "@ready":
            self._ready = True
        elif verb == "@exit":
            self._exit_status = int(rest)
        elif verb == "@qmp":
            self._channels["ctl"].sendall(self.qmp(rest, deadline).encode() + b"\n")
        else:
            raise GuestFailure(NO_STATUS, f"unexpected line on the control port: {line!r}")

    def _end(self):
        if self._process.poll() is None:
            self._process.kill()
        self._process.wait()
        self._selector.close()
        for channel in self._channels.values():
            channel.close()
