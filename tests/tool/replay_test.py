"""What replay refuses before it asks the kernel for a device; what it makes is for the tests with a kernel of their own."""

from qrxhid_support import ToolTest, main, recording

MOUSE = recording("wheel-mouse")


class Replay(ToolTest):
    def test_nothing_is_played_to_nobody(self):
        self.assertIn("--uhid", self.refuse(64, "replay", MOUSE))

    def test_there_must_be_a_recording(self):
        self.assertIn("which recording?", self.refuse(64, "replay", "--uhid"))

    def test_a_recording_that_cannot_be_read_is_told(self):
        self.assertIn("/nonexistent.hid", self.refuse(2, "replay", "--uhid", "/nonexistent.hid"))

    def test_a_device_that_is_in_none_of_them_is_told_with_those_that_are(self):
        err = self.refuse(1, "replay", "--uhid", MOUSE, "--device", "dead:beef")
        self.assertEqual("qrxhid: no device is dead:beef; there are:\n  #1  1209:0002  Qrx Demo Wheel Mouse\n", err)


if __name__ == "__main__":
    main()
