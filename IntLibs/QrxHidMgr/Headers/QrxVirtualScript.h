/// @file
/// What a virtual device does by itself: answers, and faults on cue.

#ifndef QRX_VIRTUAL_SCRIPT_H
#define QRX_VIRTUAL_SCRIPT_H

#include "QrxExport.h"
#include "QrxRecording.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

/// Rules for a virtual device (QrxVirtualDevice::setScript), one a line:
///
///     seed 7                                    repeatable chance; 1 without this line
///     when output 01 ??: send 02 ?? after 5 ms  a request and its answer
///     when get feature 03: answer 03 15
///     report 5: drop, unplug, plug after 1 s    faults
///     chance 10%: double
///     # text                                    comment
///
/// A rule is a trigger, a colon, and what happens, separated by commas, in this order. All rules whose trigger fits
/// act, in the order of the file.
///
/// | trigger                        | happens                                                                       |
/// |--------------------------------|-------------------------------------------------------------------------------|
/// | `report N`                     | at the Nth input report of the device, from 1; a new plug-in goes on counting |
/// | `every N reports`              | at each Nth one                                                               |
/// | `chance P%`                    | at each one with that probability, 0 to 100                                   |
/// | `after TIME`                   | that long after setScript                                                     |
/// | `when output BYTES`            | at an output report that was sent to the device; `when feature BYTES` as well |
/// | `when get feature [ID]`        | at a request for a report; `get input`, `get output` as well                  |
/// | `when open`                    | at an attempt to open an interface                                            |
/// | `when plugged`                 | before each arrival                                                           |
///
/// A trigger of reports or opening may end with `on N`, the USB number of the only interface that it is about; input
/// reports are counted over all interfaces nevertheless. Any may begin with `once` or `N times`, after which the rule
/// is over: `2 times when open: refuse`.
///
/// | what happens                   | where                                                                         |
/// |--------------------------------|-------------------------------------------------------------------------------|
/// | `drop`                         | reports: it is lost                                                           |
/// | `double`                       | reports: it is sent twice                                                     |
/// | `swap`                         | reports: it is sent after the next one of its interface                       |
/// | `delay TIME`                   | reports: it is sent later                                                     |
/// | `id HH`                        | reports: its first byte is that                                               |
/// | `cut to N`, `pad to N`         | reports: at most, at least N bytes, with zeros                                |
/// | `fill`                         | reports: it is sent 64 times, one more than the queue of a reader holds       |
/// | `refuse`                       | output, feature, get: the device stalls; open: no permission                  |
/// | `silence`                      | output, feature, get: the request ends as one whose time is over, at once     |
/// | `wait TIME`                    | output, feature, get: the caller waits for the answer; timed out after 5 s    |
/// | `answer BYTES`                 | get: the report                                                               |
/// | `send BYTES [on N] [after TIME]` | everywhere: an input report, to which no other rule applies                 |
/// | `unplug`                       | everywhere but open and plugged                                               |
/// | `plug [after TIME]`            | everywhere but open and plugged                                               |
/// | `garble strings`               | everywhere: from the next arrival on the names are hostile texts by chance    |
/// | `descriptor BYTES [on N]`      | everywhere: the report descriptor from the next arrival on                    |
///
/// BYTES are pairs of hexadecimal digits. In a trigger `??` is any byte and a last `...` any that follow. In a `send`
/// at an input, output or feature report `??` is the byte at that place of the report, 0 past its end; nowhere else may
/// it stand. A TIME is a number, a blank and us, ms, s or min, at most a day. Without `on` a `send` is from the
/// interface of the report or the opening, else from the first HID interface, and a `descriptor` is that of the first
/// HID interface. All rules together have at most 10,000 things that may happen and 4 MiB of BYTES.
///
/// A value: copies are independent of each other. One that was moved from may be assigned to and destroyed, nothing
/// else.
class QRX_EXPORT QrxVirtualScript {
public:
    /// Without rules.
    QrxVirtualScript();
    QrxVirtualScript(const QrxVirtualScript& other);
    QrxVirtualScript(QrxVirtualScript&& other) noexcept;
    QrxVirtualScript& operator=(QrxVirtualScript other) noexcept;
    ~QrxVirtualScript();

    /// Reads the whole text; `fileName` is for messages only. Throws QrxRecordingError at the first line that is not
    /// understood, which says what may stand there.
    static QrxVirtualScript read(std::istream& text, const std::string& fileName);
    /// Reads a file; one that cannot be opened or read is a QrxRecordingError too.
    static QrxVirtualScript readFile(const std::string& fileName);

    /// Adds the rule of one line. Throws QrxRecordingError as read() does, with the number of the rule for a line.
    QrxVirtualScript& add(const std::string& line);
    std::size_t getRuleCount() const;

    std::uint64_t getSeed() const;
    QrxVirtualScript& setSeed(std::uint64_t seed);

private:
    friend class QrxVirtualDevice;
    struct Body;
    std::unique_ptr<Body> _body;
};

#endif
