"""Asks a relay for its name and switches it, with python3-hid."""

import hid

for entry in hid.enumerate(0x16C0, 0x05DF):
    print(entry["manufacturer_string"], entry["product_string"], entry["interface_number"])
device = hid.device()
device.open(0x16C0, 0x05DF)
print(bytes(device.get_feature_report(1, 8)).hex(" "))
print(device.write([0, 0xFF, 1, 0, 0, 0, 0, 0, 0]), bytes(device.read(8, 5000)).hex(" "))
print(device.read(8, 10))
device.close()
