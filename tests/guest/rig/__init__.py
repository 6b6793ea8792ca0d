"""Boots a Debian kernel under QEMU with programs of ours in it and brings their output and exit status back."""
