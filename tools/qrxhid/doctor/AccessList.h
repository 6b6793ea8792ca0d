#pragma once

#include "doctor/User.h"

#include <string>
#include <sys/stat.h>

namespace qrxhid {

/// Whether that user may read (R_OK) or write (W_OK) the file, by its owner, mode and access list as acl(5) has it. A
/// sandbox or a security module may refuse nevertheless.
bool isGranted(const std::string& path, const struct stat& facts, const User& user, unsigned int wanted);

} // namespace qrxhid
