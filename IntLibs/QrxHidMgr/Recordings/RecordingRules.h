#pragma once

#include "QrxRecording.h"

#include <cstddef>
#include <cstdint>

namespace qrx {

/// What the reader accepts and the writer keeps to, so that whatever is written can be read.
namespace recording {

/// Longest descriptor or report of a line: what a control transfer can carry.
constexpr std::size_t kMaximumBytes = 65535;
/// Longest name or comment. Strings of USB devices have at most 126 characters.
constexpr std::size_t kMaximumTextBytes = 65535;
/// Longest line that is read. The longest that is written, an event of kMaximumBytes, has some 196,700 bytes: three for
/// each byte.
constexpr std::size_t kMaximumLineBytes = 256 * 1024;
/// Latest event, some 30,000 years after the first.
constexpr std::uint64_t kMaximumSeconds = 1'000'000'000'000;
/// A USB interface's number is one byte.
constexpr int kMaximumInterfaceNumber = 255;

} // namespace recording

/// These throw std::invalid_argument with the first fault of a recording that was made by a program.
void checkRecording(const QrxRecording& recording);
/// The events alone: whether they can be played.
void checkEvents(const QrxRecording& recording);
/// One event alone; whether it comes after the others is not known.
void checkEvent(const QrxRecording& recording, const QrxRecordedEvent& event);

} // namespace qrx
