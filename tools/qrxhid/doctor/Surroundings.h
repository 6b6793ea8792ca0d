#pragma once

#include <string>

namespace qrxhid {

/// What the machine, container or sandbox lets a program see.
struct Surroundings {
    /// The kernel's list of USB devices is there.
    bool hasUsb = false;
    /// udevd runs (or its control socket is shared with this container).
    bool hasUdevd = false;
    /// What the program runs in: "a Flatpak sandbox"; empty for a plain machine.
    std::string enclosure;

    /// `root` is what all paths begin with, empty for the machine itself (and only then the environment is asked).
    static Surroundings examine(const std::string& root);
};

} // namespace qrxhid
