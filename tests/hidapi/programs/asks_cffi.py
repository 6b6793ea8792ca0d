"""The same with python3-hidapi, which loads the library while it runs."""

import hidapi

for entry in hidapi.enumerate(0x16C0, 0x05DF):
    print(entry.manufacturer_string, entry.product_string, entry.interface_number)
device = hidapi.Device(vendor_id=0x16C0, product_id=0x05DF)
print(device.get_product_string())
print(device.get_feature_report(b"\x01", 7).hex(" "))
device.send_feature_report(bytes(8), b"\0")
device.write(bytes([0xFF, 1, 0, 0, 0, 0, 0, 0]))
print(device.read(8, timeout_ms=5000).hex(" "))
print(device.read(8, timeout_ms=10))
device.close()
