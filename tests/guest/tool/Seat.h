#pragma once

namespace qrx::guest {

/// Makes the guest's ordinary user the one who sits at the machine, as far as udev's builtin "uaccess" can tell: it
/// reads what a login manager would write. Lasts while the object lives.
class Seat {
public:
    /// Throws std::runtime_error if the files cannot be written.
    Seat();
    ~Seat();
    Seat(const Seat&) = delete;
    Seat& operator=(const Seat&) = delete;
};

} // namespace qrx::guest
