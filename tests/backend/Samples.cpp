#include "BackendWorld.h"

#include <map>

namespace world {

const Bytes& descriptorOf(Sample sample)
{
    static const std::map<Sample, Bytes> descriptors = {
        {Sample::kMouse,
         {
             0x05, 0x01, // Usage Page (Generic Desktop)
             0x09, 0x02, // Usage (Mouse)
             0xA1, 0x01, // Collection (Application)
             0x09, 0x01, //   Usage (Pointer)
             0xA1, 0x00, //   Collection (Physical)
             0x05, 0x09, //     Usage Page (Button)
             0x19, 0x01, //     Usage Minimum (1)
             0x29, 0x03, //     Usage Maximum (3)
             0x15, 0x00, //     Logical Minimum (0)
             0x25, 0x01, //     Logical Maximum (1)
             0x95, 0x03, //     Report Count (3)
             0x75, 0x01, //     Report Size (1)
             0x81, 0x02, //     Input (Data, Variable, Absolute)
             0x95, 0x01, //     Report Count (1)
             0x75, 0x05, //     Report Size (5)
             0x81, 0x01, //     Input (Constant)
             0x05, 0x01, //     Usage Page (Generic Desktop)
             0x09, 0x30, //     Usage (X)
             0x09, 0x31, //     Usage (Y)
             0x09, 0x38, //     Usage (Wheel)
             0x15, 0x81, //     Logical Minimum (-127)
             0x25, 0x7F, //     Logical Maximum (127)
             0x75, 0x08, //     Report Size (8)
             0x95, 0x03, //     Report Count (3)
             0x81, 0x06, //     Input (Data, Variable, Relative)
             0xC0,       //   End Collection
             0xC0        // End Collection
         }},
        {Sample::kVendor,
         {
             0x06, 0x00, 0xFF, // Usage Page (vendor 0xFF00)
             0x09, 0x01,       // Usage (1)
             0xA1, 0x01,       // Collection (Application)
             0x85, 0x01,       //   Report ID (1)
             0x09, 0x02,       //   Usage (2)
             0x15, 0x00,       //   Logical Minimum (0)
             0x26, 0xFF, 0x00, //   Logical Maximum (255)
             0x75, 0x08,       //   Report Size (8)
             0x95, 0x3F,       //   Report Count (63)
             0x81, 0x02,       //   Input (Data, Variable, Absolute)
             0x85, 0x02,       //   Report ID (2)
             0x09, 0x03,       //   Usage (3)
             0x95, 0x07,       //   Report Count (7)
             0x91, 0x02,       //   Output (Data, Variable, Absolute)
             0x85, 0x03,       //   Report ID (3)
             0x09, 0x04,       //   Usage (4)
             0x95, 0x03,       //   Report Count (3)
             0xB1, 0x02,       //   Feature (Data, Variable, Absolute)
             0xC0              // End Collection
         }},
        {Sample::kPedal,
         {
             0x05, 0x01, // Usage Page (Generic Desktop)
             0x09, 0x04, // Usage (Joystick)
             0xA1, 0x01, // Collection (Application)
             0x05, 0x09, //   Usage Page (Button)
             0x19, 0x01, //   Usage Minimum (1)
             0x29, 0x03, //   Usage Maximum (3)
             0x15, 0x00, //   Logical Minimum (0)
             0x25, 0x01, //   Logical Maximum (1)
             0x75, 0x01, //   Report Size (1)
             0x95, 0x03, //   Report Count (3)
             0x81, 0x02, //   Input (Data, Variable, Absolute)
             0x75, 0x05, //   Report Size (5)
             0x95, 0x01, //   Report Count (1)
             0x81, 0x03, //   Input (Constant)
             0xC0        // End Collection
         }},
    };
    return descriptors.at(sample);
}

} // namespace world
