"""Tells which keys of a deck are pressed, until it has seen three changes."""

import sys
import threading

from StreamDeck.DeviceManager import DeviceManager

changes = []
enough = threading.Event()


def key_changed(_, key, is_down):
    changes.append(f"key {key} {'down' if is_down else 'up'}")
    if len(changes) == 3:
        enough.set()


decks = DeviceManager().enumerate()
if not decks:
    sys.exit("no deck")
deck = decks[0]
deck.open()
print(deck.deck_type())
deck.set_key_callback(key_changed)
if not enough.wait(20):
    sys.exit(f"only {changes}")
deck.close()
print("\n".join(changes))
