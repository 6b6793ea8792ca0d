#include "Seat.h"

#include "ToolRun.h"

#include "support/GuestFiles.h"

#include <filesystem>
#include <stdexcept>
#include <string>

namespace qrx::guest {

namespace {

constexpr const char* kLogins = "/run/systemd";

} // namespace

Seat::Seat()
{
    std::error_code error;
    std::filesystem::create_directories(std::string(kLogins) + "/seats", error);
    const std::string seat = "IS_SEAT0=1\nACTIVE=1\nACTIVE_UID=" + std::to_string(kOrdinaryUser) + "\n";
    if (writeFile(std::string(kLogins) + "/seats/seat0", seat) != 0) {
        throw std::runtime_error("no place for the seat");
    }
}

Seat::~Seat()
{
    std::error_code error;
    std::filesystem::remove_all(kLogins, error);
}

} // namespace qrx::guest
