#pragma once

#include "QrxRecording.h"

#include <functional>
#include <string>

namespace qrxhid {

/// The events of the interfaces that `isWanted` takes, by their numbers, as one text in Base64. Decoded, it has for
/// each event: the microseconds since the one before, the index of its interface among those that are wanted, the
/// number of its bytes (each in groups of 7 bits, the lowest first, with bit 7 set in all but the last), then the
/// bytes.
///
/// A page has twenty thousand reports as easily as twenty; as JSON they would be several times as long.
std::string eventData(const QrxRecording& recording, const std::function<bool(int)>& isWanted);

/// RFC 4648, 4.
std::string base64Of(const std::string& bytes);

} // namespace qrxhid
