"""What the rig says of guests that die, hang or cannot be had. Starts the guest four times."""
import os
import subprocess
import sys
import tempfile
import time
import unittest

RIG = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "rig")
BUSYBOX = "/bin/busybox"


def rig(*words, **environment):
    """Runs the rig; returns the finished process with its output as text."""
    return subprocess.run([sys.executable, RIG, *words], capture_output=True, text=True, check=False, timeout=300,
                          env={**os.environ, **environment})


def children_named(word):
    """Processes of this machine whose command line has a word."""
    found = []
    for entry in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{entry}/cmdline", "rb") as stream:
                if word.encode() in stream.read():
                    found.append(int(entry))
        except OSError:
            continue
    return found


class Failures(unittest.TestCase):
    def test_a_run_beyond_its_time_limit_ends_with_124(self):
        with tempfile.TemporaryDirectory() as share:
            done = rig("run", "--timeout", "20", "--share", share, f"{BUSYBOX} sleep 1000")
            self.assertEqual(done.returncode, 124, done.stdout + done.stderr)
            self.assertIn("in time", done.stdout)
            self.assertEqual(children_named(share), [], "QEMU outlived the run")

    def test_the_status_of_the_first_failure_counts_and_a_panic_is_a_failure(self):
        done = rig("run", "--timeout", "120", f"{BUSYBOX} echo hello", f"{BUSYBOX} sh -c 'exit 3'",
                   f"{BUSYBOX} sh -c 'echo here; echo c >/proc/sysrq-trigger'")
        self.assertEqual(done.returncode, 125, done.stdout + done.stderr)
        self.assertIn("hello\nguest: busybox: exit status 0", done.stdout)
        self.assertIn("guest: busybox: exit status 3", done.stdout)
        self.assertIn("QEMU is gone", done.stdout)
        self.assertIn("Kernel panic", done.stdout, "the console's last lines are shown")

    def test_ending_the_rig_ends_qemu(self):
        with tempfile.TemporaryDirectory() as share:
            with subprocess.Popen([sys.executable, RIG, "run", "--share", share, f"{BUSYBOX} sleep 1000"],
                                  stdout=subprocess.DEVNULL) as process:
                self.assertTrue(self.wait_for(lambda: self.emulators(share)), "QEMU did not start")
                process.kill()
                process.wait()
                self.assertTrue(self.wait_for(lambda: not self.emulators(share)), "QEMU outlived the rig")

    def test_output_that_is_read_after_the_program_has_ended_comes_whole(self):
        with tempfile.TemporaryDirectory() as share:
            # More than lies in the pipe and in QEMU's socket, less than the guest's end of the port holds as well.
            script = "seq 1 150000 >/tmp/lines; cat /tmp/lines; touch /host/ended"
            with subprocess.Popen([sys.executable, RIG, "run", "--timeout", "120", "--share", share,
                                   f"{BUSYBOX} sh -c '{script}'"], stdout=subprocess.PIPE) as process:
                ended = self.wait_for(lambda: os.path.exists(f"{share}/ended"), seconds=120)
                output = process.stdout.read().decode()
        self.assertTrue(ended, output[-1000:])
        self.assertEqual(process.returncode, 0, output[-1000:])
        lines = "".join(f"{number}\n" for number in range(1, 150001))
        self.assertTrue(f" s\n{lines}guest: busybox: exit status 0" in output,
                        f"{len(output)} of {len(lines)} bytes and more came")

    @staticmethod
    def emulators(share):
        """QEMUs that were given this folder (the rig's own command line names it too)."""
        return [pid for pid in children_named(share) if pid in children_named("virtio-serial-pci")]

    @staticmethod
    def wait_for(condition, seconds=60):
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            if condition():
                return True
            time.sleep(0.05)
        return False

    def test_what_cannot_be_had_is_a_failure_in_ci_and_a_loud_skip_elsewhere(self):
        for ci, status, word in (("true", 1, "FAILED"), ("", 77, "SKIPPED")):
            done = rig("run", f"{BUSYBOX} true", PATH="/nonexistent", CI=ci)
            self.assertEqual(done.returncode, status, done.stdout + done.stderr)
            self.assertIn(f"guest rig: {word}: apt-cache is not installed", done.stdout)

    def test_a_missing_emulator_is_told(self):
        sys.path.insert(0, RIG)
        import machine
        from unavailable import RigUnavailable
        machine.QEMU = "qemu-that-is-not-there"
        with self.assertRaisesRegex(RigUnavailable, "qemu-that-is-not-there is not installed"):
            with machine.Machine("kernel", "initrd", "/nonexistent"):
                pass


if __name__ == "__main__":
    ready = rig("image")
    if ready.returncode != 0:
        print(ready.stdout + ready.stderr)
        sys.exit(ready.returncode)
    unittest.main(verbosity=2)
