#pragma once

#include <string>

namespace qrxhid {

/// "Linux 6.1.0-18-amd64 x86_64": what a person who reads a document of doctor asks for first, with the version of the
/// tool.
std::string kernelText();

} // namespace qrxhid
