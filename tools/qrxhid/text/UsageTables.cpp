#include "text/UsageTables.h"

namespace qrxhid {

namespace {

// Tables, several entries a line.
// clang-format off

constexpr UsageEntry kGenericDesktop[] = {
    {0x01, "Pointer"}, {0x02, "Mouse"}, {0x04, "Joystick"}, {0x05, "Game Pad"}, {0x06, "Keyboard"},
    {0x07, "Keypad"}, {0x08, "Multi-axis Controller"}, {0x09, "Tablet PC System Controls"},
    {0x0A, "Water Cooling Device"}, {0x0B, "Computer Chassis Device"}, {0x0C, "Wireless Radio Controls"},
    {0x0D, "Portable Device Control"}, {0x0E, "System Multi-Axis Controller"}, {0x0F, "Spatial Controller"},
    {0x10, "Assistive Control"}, {0x30, "X"}, {0x31, "Y"}, {0x32, "Z"}, {0x33, "Rx"}, {0x34, "Ry"},
    {0x35, "Rz"}, {0x36, "Slider"}, {0x37, "Dial"}, {0x38, "Wheel"}, {0x39, "Hat switch"},
    {0x3A, "Counted Buffer"}, {0x3B, "Byte Count"}, {0x3C, "Motion Wakeup"}, {0x3D, "Start"}, {0x3E, "Select"},
    {0x40, "Vx"}, {0x41, "Vy"}, {0x42, "Vz"}, {0x43, "Vbrx"}, {0x44, "Vbry"}, {0x45, "Vbrz"}, {0x46, "Vno"},
    {0x47, "Feature Notification"}, {0x48, "Resolution Multiplier"}, {0x80, "System Control"},
    {0x81, "System Power Down"}, {0x82, "System Sleep"}, {0x83, "System Wake Up"},
    {0x84, "System Context Menu"}, {0x85, "System Main Menu"}, {0x86, "System App Menu"},
    {0x87, "System Menu Help"}, {0x88, "System Menu Exit"}, {0x89, "System Menu Select"},
    {0x8A, "System Menu Right"}, {0x8B, "System Menu Left"}, {0x8C, "System Menu Up"},
    {0x8D, "System Menu Down"}, {0x8E, "System Cold Restart"}, {0x8F, "System Warm Restart"},
    {0x90, "D-pad Up"}, {0x91, "D-pad Down"}, {0x92, "D-pad Right"}, {0x93, "D-pad Left"},
    {0xA0, "System Dock"}, {0xA1, "System Undock"}, {0xA7, "System Speaker Mute"},
    {0xB0, "System Display Invert"}, {0xB5, "System Display Toggle Int/Ext"}, {0xC6, "Wireless Radio Button"},
    {0xC7, "Wireless Radio LED"}, {0xC8, "Wireless Radio Slider Switch"},
};

constexpr UsageEntry kSimulation[] = {
    {0x01, "Flight Simulation Device"}, {0x02, "Automobile Simulation Device"},
    {0x03, "Tank Simulation Device"}, {0x04, "Spaceship Simulation Device"},
    {0x05, "Submarine Simulation Device"}, {0x06, "Sailing Simulation Device"},
    {0x07, "Motorcycle Simulation Device"}, {0x08, "Sports Simulation Device"},
    {0x09, "Airplane Simulation Device"}, {0x0A, "Helicopter Simulation Device"},
    {0x0B, "Magic Carpet Simulation Device"}, {0x0C, "Bicycle Simulation Device"},
    {0x20, "Flight Control Stick"}, {0x21, "Flight Stick"}, {0x22, "Cyclic Control"}, {0x23, "Cyclic Trim"},
    {0x24, "Flight Yoke"}, {0x25, "Track Control"}, {0xB0, "Aileron"}, {0xB1, "Aileron Trim"},
    {0xB2, "Anti-Torque Control"}, {0xB3, "Autopilot Enable"}, {0xB4, "Chaff Release"},
    {0xB5, "Collective Control"}, {0xB6, "Dive Brake"}, {0xB7, "Electronic Countermeasures"},
    {0xB8, "Elevator"}, {0xB9, "Elevator Trim"}, {0xBA, "Rudder"}, {0xBB, "Throttle"},
    {0xBC, "Flight Communications"}, {0xBD, "Flare Release"}, {0xBE, "Landing Gear"}, {0xBF, "Toe Brake"},
    {0xC0, "Trigger"}, {0xC1, "Weapons Arm"}, {0xC2, "Weapons Select"}, {0xC3, "Wing Flaps"},
    {0xC4, "Accelerator"}, {0xC5, "Brake"}, {0xC6, "Clutch"}, {0xC7, "Shifter"}, {0xC8, "Steering"},
    {0xC9, "Turret Direction"}, {0xCA, "Barrel Elevation"}, {0xCB, "Dive Plane"}, {0xCC, "Ballast"},
    {0xCD, "Bicycle Crank"}, {0xCE, "Handle Bars"}, {0xCF, "Front Brake"}, {0xD0, "Rear Brake"},
};

constexpr UsageEntry kVirtualReality[] = {
    {0x01, "Belt"}, {0x02, "Body Suit"}, {0x03, "Flexor"}, {0x04, "Glove"}, {0x05, "Head Tracker"},
    {0x06, "Head Mounted Display"}, {0x07, "Hand Tracker"}, {0x08, "Oculometer"}, {0x09, "Vest"},
    {0x0A, "Animatronic Device"}, {0x20, "Stereo Enable"}, {0x21, "Display Enable"},
};

constexpr UsageEntry kSport[] = {
    {0x01, "Baseball Bat"}, {0x02, "Golf Club"}, {0x03, "Rowing Machine"}, {0x04, "Treadmill"}, {0x30, "Oar"},
    {0x31, "Slope"}, {0x32, "Rate"}, {0x33, "Stick Speed"}, {0x34, "Stick Face Angle"},
    {0x35, "Stick Heel/Toe"}, {0x36, "Stick Follow Through"}, {0x37, "Stick Tempo"}, {0x38, "Stick Type"},
    {0x39, "Stick Height"},
};

constexpr UsageEntry kGame[] = {
    {0x01, "3D Game Controller"}, {0x02, "Pinball Device"}, {0x03, "Gun Device"}, {0x20, "Point of View"},
    {0x21, "Turn Right/Left"}, {0x22, "Pitch Forward/Backward"}, {0x23, "Roll Right/Left"},
    {0x24, "Move Right/Left"}, {0x25, "Move Forward/Backward"}, {0x26, "Move Up/Down"},
    {0x27, "Lean Right/Left"}, {0x28, "Lean Forward/Backward"}, {0x29, "Height of POV"}, {0x2A, "Flipper"},
    {0x2B, "Secondary Flipper"}, {0x2C, "Bump"}, {0x2D, "New Game"}, {0x2E, "Shoot Ball"}, {0x2F, "Player"},
    {0x30, "Gun Bolt"}, {0x31, "Gun Clip"}, {0x32, "Gun Selector"}, {0x33, "Gun Single Shot"},
    {0x34, "Gun Burst"}, {0x35, "Gun Automatic"}, {0x36, "Gun Safety"}, {0x37, "Gamepad Fire/Jump"},
    {0x39, "Gamepad Trigger"}, {0x3A, "Form-fitting Gamepad"},
};

constexpr UsageEntry kGenericDevice[] = {
    {0x01, "Background Controls"}, {0x20, "Battery Strength"}, {0x21, "Wireless Channel"},
    {0x22, "Wireless ID"}, {0x23, "Discover Wireless Control"}, {0x24, "Security Code Character Entered"},
    {0x25, "Security Code Character Erased"}, {0x26, "Security Code Cleared"}, {0x27, "Sequence ID"},
    {0x29, "RF Signal Strength"}, {0x2A, "Software Version"}, {0x2B, "Protocol Version"},
    {0x2C, "Hardware Version"}, {0x2D, "Major"}, {0x2E, "Minor"}, {0x2F, "Revision"},
};

constexpr UsageEntry kKeyboard[] = {
    {0x00, "No event"}, {0x01, "Error Roll Over"}, {0x02, "POST Fail"}, {0x03, "Error Undefined"}, {0x04, "A"},
    {0x05, "B"}, {0x06, "C"}, {0x07, "D"}, {0x08, "E"}, {0x09, "F"}, {0x0A, "G"}, {0x0B, "H"}, {0x0C, "I"},
    {0x0D, "J"}, {0x0E, "K"}, {0x0F, "L"}, {0x10, "M"}, {0x11, "N"}, {0x12, "O"}, {0x13, "P"}, {0x14, "Q"},
    {0x15, "R"}, {0x16, "S"}, {0x17, "T"}, {0x18, "U"}, {0x19, "V"}, {0x1A, "W"}, {0x1B, "X"}, {0x1C, "Y"},
    {0x1D, "Z"}, {0x1E, "1"}, {0x1F, "2"}, {0x20, "3"}, {0x21, "4"}, {0x22, "5"}, {0x23, "6"}, {0x24, "7"},
    {0x25, "8"}, {0x26, "9"}, {0x27, "0"}, {0x28, "Enter"}, {0x29, "Escape"}, {0x2A, "Backspace"},
    {0x2B, "Tab"}, {0x2C, "Space"}, {0x2D, "-"}, {0x2E, "="}, {0x2F, "["}, {0x30, "]"}, {0x31, "\\"},
    {0x32, "Non-US #"}, {0x33, ";"}, {0x34, "'"}, {0x35, "`"}, {0x36, ","}, {0x37, "."}, {0x38, "/"},
    {0x39, "Caps Lock"}, {0x3A, "F1"}, {0x3B, "F2"}, {0x3C, "F3"}, {0x3D, "F4"}, {0x3E, "F5"}, {0x3F, "F6"},
    {0x40, "F7"}, {0x41, "F8"}, {0x42, "F9"}, {0x43, "F10"}, {0x44, "F11"}, {0x45, "F12"},
    {0x46, "Print Screen"}, {0x47, "Scroll Lock"}, {0x48, "Pause"}, {0x49, "Insert"}, {0x4A, "Home"},
    {0x4B, "Page Up"}, {0x4C, "Delete"}, {0x4D, "End"}, {0x4E, "Page Down"}, {0x4F, "Right Arrow"},
    {0x50, "Left Arrow"}, {0x51, "Down Arrow"}, {0x52, "Up Arrow"}, {0x53, "Num Lock"}, {0x54, "Keypad /"},
    {0x55, "Keypad *"}, {0x56, "Keypad -"}, {0x57, "Keypad +"}, {0x58, "Keypad Enter"}, {0x59, "Keypad 1"},
    {0x5A, "Keypad 2"}, {0x5B, "Keypad 3"}, {0x5C, "Keypad 4"}, {0x5D, "Keypad 5"}, {0x5E, "Keypad 6"},
    {0x5F, "Keypad 7"}, {0x60, "Keypad 8"}, {0x61, "Keypad 9"}, {0x62, "Keypad 0"}, {0x63, "Keypad ."},
    {0x64, "Non-US \\"}, {0x65, "Application"}, {0x66, "Power"}, {0x67, "Keypad ="}, {0x68, "F13"},
    {0x69, "F14"}, {0x6A, "F15"}, {0x6B, "F16"}, {0x6C, "F17"}, {0x6D, "F18"}, {0x6E, "F19"}, {0x6F, "F20"},
    {0x70, "F21"}, {0x71, "F22"}, {0x72, "F23"}, {0x73, "F24"}, {0x74, "Execute"}, {0x75, "Help"},
    {0x76, "Menu"}, {0x77, "Select"}, {0x78, "Stop"}, {0x79, "Again"}, {0x7A, "Undo"}, {0x7B, "Cut"},
    {0x7C, "Copy"}, {0x7D, "Paste"}, {0x7E, "Find"}, {0x7F, "Mute"}, {0x80, "Volume Up"}, {0x81, "Volume Down"},
    {0x82, "Locking Caps Lock"}, {0x83, "Locking Num Lock"}, {0x84, "Locking Scroll Lock"}, {0x85, "Keypad ,"},
    {0x86, "Keypad Equal Sign"}, {0x87, "International 1"}, {0x88, "International 2"},
    {0x89, "International 3"}, {0x8A, "International 4"}, {0x8B, "International 5"}, {0x8C, "International 6"},
    {0x8D, "International 7"}, {0x8E, "International 8"}, {0x8F, "International 9"}, {0x90, "Language 1"},
    {0x91, "Language 2"}, {0x92, "Language 3"}, {0x93, "Language 4"}, {0x94, "Language 5"},
    {0x95, "Language 6"}, {0x96, "Language 7"}, {0x97, "Language 8"}, {0x98, "Language 9"},
    {0x99, "Alternate Erase"}, {0x9A, "SysReq"}, {0x9B, "Cancel"}, {0x9C, "Clear"}, {0x9D, "Prior"},
    {0x9E, "Return"}, {0x9F, "Separator"}, {0xA0, "Out"}, {0xA1, "Oper"}, {0xA2, "Clear/Again"},
    {0xA3, "CrSel/Props"}, {0xA4, "ExSel"}, {0xE0, "Left Control"}, {0xE1, "Left Shift"}, {0xE2, "Left Alt"},
    {0xE3, "Left GUI"}, {0xE4, "Right Control"}, {0xE5, "Right Shift"}, {0xE6, "Right Alt"},
    {0xE7, "Right GUI"},
};

constexpr UsageEntry kLed[] = {
    {0x01, "Num Lock"}, {0x02, "Caps Lock"}, {0x03, "Scroll Lock"}, {0x04, "Compose"}, {0x05, "Kana"},
    {0x06, "Power"}, {0x07, "Shift"}, {0x08, "Do Not Disturb"}, {0x09, "Mute"}, {0x0A, "Tone Enable"},
    {0x0B, "High Cut Filter"}, {0x0C, "Low Cut Filter"}, {0x0D, "Equalizer Enable"}, {0x0E, "Sound Field On"},
    {0x0F, "Surround On"}, {0x10, "Repeat"}, {0x11, "Stereo"}, {0x12, "Sampling Rate Detect"},
    {0x13, "Spinning"}, {0x14, "CAV"}, {0x15, "CLV"}, {0x16, "Recording Format Detect"}, {0x17, "Off-Hook"},
    {0x18, "Ring"}, {0x19, "Message Waiting"}, {0x1A, "Data Mode"}, {0x1B, "Battery Operation"},
    {0x1C, "Battery OK"}, {0x1D, "Battery Low"}, {0x1E, "Speaker"}, {0x1F, "Headset"}, {0x20, "Hold"},
    {0x21, "Microphone"}, {0x22, "Coverage"}, {0x23, "Night Mode"}, {0x24, "Send Calls"}, {0x25, "Call Pickup"},
    {0x26, "Conference"}, {0x27, "Stand-by"}, {0x28, "Camera On"}, {0x29, "Camera Off"}, {0x2A, "On-Line"},
    {0x2B, "Off-Line"}, {0x2C, "Busy"}, {0x2D, "Ready"}, {0x2E, "Paper-Out"}, {0x2F, "Paper-Jam"},
    {0x30, "Remote"}, {0x31, "Forward"}, {0x32, "Reverse"}, {0x33, "Stop"}, {0x34, "Rewind"},
    {0x35, "Fast Forward"}, {0x36, "Play"}, {0x37, "Pause"}, {0x38, "Record"}, {0x39, "Error"},
    {0x3A, "Usage Selected Indicator"}, {0x3B, "Usage In Use Indicator"}, {0x3C, "Usage Multi Mode Indicator"},
    {0x3D, "Indicator On"}, {0x3E, "Indicator Flash"}, {0x3F, "Indicator Slow Blink"},
    {0x40, "Indicator Fast Blink"}, {0x41, "Indicator Off"}, {0x42, "Flash On Time"},
    {0x43, "Slow Blink On Time"}, {0x44, "Slow Blink Off Time"}, {0x45, "Fast Blink On Time"},
    {0x46, "Fast Blink Off Time"}, {0x47, "Usage Indicator Color"}, {0x48, "Indicator Red"},
    {0x49, "Indicator Green"}, {0x4A, "Indicator Amber"}, {0x4B, "Generic Indicator"}, {0x4C, "System Suspend"},
    {0x4D, "External Power Connected"},
};

constexpr UsageEntry kTelephony[] = {
    {0x01, "Phone"}, {0x02, "Answering Machine"}, {0x03, "Message Controls"}, {0x04, "Handset"},
    {0x05, "Headset"}, {0x06, "Telephony Key Pad"}, {0x07, "Programmable Button"}, {0x20, "Hook Switch"},
    {0x21, "Flash"}, {0x22, "Feature"}, {0x23, "Hold"}, {0x24, "Redial"}, {0x25, "Transfer"}, {0x26, "Drop"},
    {0x27, "Park"}, {0x28, "Forward Calls"}, {0x29, "Alternate Function"}, {0x2A, "Line"},
    {0x2B, "Speaker Phone"}, {0x2C, "Conference"}, {0x2D, "Ring Enable"}, {0x2E, "Ring Select"},
    {0x2F, "Phone Mute"}, {0x30, "Caller ID"}, {0x31, "Send"}, {0x50, "Speed Dial"}, {0x70, "Voice Mail"},
    {0x97, "Line Busy Tone"}, {0x9E, "Ringer"}, {0xB0, "Phone Key 0"}, {0xB1, "Phone Key 1"},
    {0xB2, "Phone Key 2"}, {0xB3, "Phone Key 3"}, {0xB4, "Phone Key 4"}, {0xB5, "Phone Key 5"},
    {0xB6, "Phone Key 6"}, {0xB7, "Phone Key 7"}, {0xB8, "Phone Key 8"}, {0xB9, "Phone Key 9"},
    {0xBA, "Phone Key Star"}, {0xBB, "Phone Key Pound"},
};

constexpr UsageEntry kConsumer[] = {
    {0x01, "Consumer Control"}, {0x02, "Numeric Key Pad"}, {0x03, "Programmable Buttons"}, {0x04, "Microphone"},
    {0x05, "Headphone"}, {0x06, "Graphic Equalizer"}, {0x20, "+10"}, {0x21, "+100"}, {0x22, "AM/PM"},
    {0x30, "Power"}, {0x31, "Reset"}, {0x32, "Sleep"}, {0x33, "Sleep After"}, {0x34, "Sleep Mode"},
    {0x35, "Illumination"}, {0x36, "Function Buttons"}, {0x40, "Menu"}, {0x41, "Menu Pick"}, {0x42, "Menu Up"},
    {0x43, "Menu Down"}, {0x44, "Menu Left"}, {0x45, "Menu Right"}, {0x46, "Menu Escape"},
    {0x47, "Menu Value Increase"}, {0x48, "Menu Value Decrease"}, {0x60, "Data On Screen"},
    {0x61, "Closed Caption"}, {0x65, "Snapshot"}, {0x6F, "Display Brightness Increment"},
    {0x70, "Display Brightness Decrement"}, {0x80, "Selection"}, {0x81, "Assign Selection"},
    {0x82, "Mode Step"}, {0x83, "Recall Last"}, {0x84, "Enter Channel"}, {0x86, "Channel"},
    {0x88, "Media Select Computer"}, {0x89, "Media Select TV"}, {0x8D, "Media Select Program Guide"},
    {0x94, "Quit"}, {0x95, "Help"}, {0x9C, "Channel Increment"}, {0x9D, "Channel Decrement"}, {0xB0, "Play"},
    {0xB1, "Pause"}, {0xB2, "Record"}, {0xB3, "Fast Forward"}, {0xB4, "Rewind"}, {0xB5, "Scan Next Track"},
    {0xB6, "Scan Previous Track"}, {0xB7, "Stop"}, {0xB8, "Eject"}, {0xB9, "Random Play"}, {0xBC, "Repeat"},
    {0xBF, "Slow Tracking"}, {0xC0, "Frame Forward"}, {0xC1, "Frame Back"}, {0xCD, "Play/Pause"},
    {0xCF, "Voice Command"}, {0xE0, "Volume"}, {0xE1, "Balance"}, {0xE2, "Mute"}, {0xE3, "Bass"},
    {0xE4, "Treble"}, {0xE5, "Bass Boost"}, {0xE9, "Volume Increment"}, {0xEA, "Volume Decrement"},
    {0xF0, "Speed Select"}, {0x0181, "AL Launch Button Configuration"},
    {0x0182, "AL Programmable Button Configuration"}, {0x0183, "AL Consumer Control Configuration"},
    {0x0184, "AL Word Processor"}, {0x0186, "AL Spreadsheet"}, {0x018A, "AL Email Reader"},
    {0x018E, "AL Calendar/Schedule"}, {0x0192, "AL Calculator"}, {0x0194, "AL Local Machine Browser"},
    {0x0196, "AL Internet Browser"}, {0x019E, "AL Terminal Lock/Screensaver"},
    {0x01A2, "AL Select Task/Application"}, {0x01AE, "AL Keyboard Layout"},
    {0x01CB, "AL Context-aware Desktop Assistant"}, {0x0201, "AC New"}, {0x0202, "AC Open"},
    {0x0203, "AC Close"}, {0x0204, "AC Exit"}, {0x0207, "AC Save"}, {0x0208, "AC Print"}, {0x021A, "AC Undo"},
    {0x021B, "AC Copy"}, {0x021C, "AC Cut"}, {0x021D, "AC Paste"}, {0x021F, "AC Find"}, {0x0221, "AC Search"},
    {0x0223, "AC Home"}, {0x0224, "AC Back"}, {0x0225, "AC Forward"}, {0x0226, "AC Stop"},
    {0x0227, "AC Refresh"}, {0x022A, "AC Bookmarks"}, {0x022D, "AC Zoom In"}, {0x022E, "AC Zoom Out"},
    {0x022F, "AC Zoom"}, {0x0238, "AC Pan"}, {0x0279, "AC Redo/Repeat"},
    {0x029D, "AC Next Keyboard Layout Select"}, {0x029F, "AC Desktop Show All Windows"},
};

constexpr UsageEntry kDigitizer[] = {
    {0x01, "Digitizer"}, {0x02, "Pen"}, {0x03, "Light Pen"}, {0x04, "Touch Screen"}, {0x05, "Touch Pad"},
    {0x06, "White Board"}, {0x07, "Coordinate Measuring Machine"}, {0x08, "3D Digitizer"},
    {0x09, "Stereo Plotter"}, {0x0A, "Articulated Arm"}, {0x0B, "Armature"}, {0x0C, "Multiple Point Digitizer"},
    {0x0D, "Free Space Wand"}, {0x0E, "Device Configuration"}, {0x20, "Stylus"}, {0x21, "Puck"},
    {0x22, "Finger"}, {0x23, "Device Settings"}, {0x30, "Tip Pressure"}, {0x31, "Barrel Pressure"},
    {0x32, "In Range"}, {0x33, "Touch"}, {0x34, "Untouch"}, {0x35, "Tap"}, {0x36, "Quality"},
    {0x37, "Data Valid"}, {0x38, "Transducer Index"}, {0x39, "Tablet Function Keys"},
    {0x3A, "Program Change Keys"}, {0x3B, "Battery Strength"}, {0x3C, "Invert"}, {0x3D, "X Tilt"},
    {0x3E, "Y Tilt"}, {0x3F, "Azimuth"}, {0x40, "Altitude"}, {0x41, "Twist"}, {0x42, "Tip Switch"},
    {0x43, "Secondary Tip Switch"}, {0x44, "Barrel Switch"}, {0x45, "Eraser"}, {0x46, "Tablet Pick"},
    {0x47, "Touch Valid"}, {0x48, "Width"}, {0x49, "Height"}, {0x51, "Contact Identifier"},
    {0x52, "Device Mode"}, {0x53, "Device Identifier"}, {0x54, "Contact Count"},
    {0x55, "Contact Count Maximum"}, {0x56, "Scan Time"}, {0x57, "Surface Switch"}, {0x58, "Button Switch"},
    {0x59, "Pad Type"}, {0x5A, "Secondary Barrel Switch"}, {0x5B, "Transducer Serial Number"},
    {0x60, "Latency Mode"},
};

// clang-format on

constexpr UsagePageEntry kPages[] = {
    {0x0001, "Generic Desktop", kGenericDesktop, ""},
    {0x0002, "Simulation", kSimulation, ""},
    {0x0003, "Virtual Reality", kVirtualReality, ""},
    {0x0004, "Sport", kSport, ""},
    {0x0005, "Game", kGame, ""},
    {0x0006, "Generic Device", kGenericDevice, ""},
    {0x0007, "Keyboard", kKeyboard, ""},
    {0x0008, "LED", kLed, ""},
    {0x0009, "Button", {}, "Button"},
    {0x000A, "Ordinal", {}, "Instance"},
    {0x000B, "Telephony", kTelephony, ""},
    {0x000C, "Consumer", kConsumer, ""},
    {0x000D, "Digitizer", kDigitizer, ""},
    {0x000E, "Haptics", {}, ""},
    {0x000F, "Physical Input Device", {}, ""},
    {0x0010, "Unicode", {}, ""},
    {0x0014, "Auxiliary Display", {}, ""},
    {0x0020, "Sensor", {}, ""},
    {0x0040, "Medical Instrument", {}, ""},
    {0x0041, "Braille Display", {}, ""},
    {0x0059, "Lighting And Illumination", {}, ""},
    {0x0080, "Monitor", {}, ""},
    {0x0081, "Monitor Enumerated", {}, ""},
    {0x0082, "VESA Virtual Controls", {}, ""},
    {0x0084, "Power", {}, ""},
    {0x0085, "Battery System", {}, ""},
    {0x008C, "Bar Code Scanner", {}, ""},
    {0x008D, "Scale", {}, ""},
    {0x008E, "Magnetic Stripe Reader", {}, ""},
    {0x0090, "Camera Control", {}, ""},
    {0x0091, "Arcade", {}, ""},
    {0xF1D0, "FIDO Alliance", {}, ""},
};

} // namespace

std::span<const UsagePageEntry> usagePages()
{
    return kPages;
}

} // namespace qrxhid
