#include "QrxRecording.h"

#include <utility>

// Programs see no more of an event than a pointer, so its size stays the same when a fact is added. A recording of
// hours has millions of events: what is added here is paid for that often.
struct QrxRecordedEvent::Body {
    std::uint64_t timeUs = 0;
    std::size_t interfaceIndex = 0;
    std::vector<std::uint8_t> bytes;
};

QrxRecordedEvent::QrxRecordedEvent() : _body(std::make_unique<Body>()) {}

QrxRecordedEvent::QrxRecordedEvent(std::uint64_t timeUs, std::size_t interfaceIndex, std::vector<std::uint8_t> bytes)
    : _body(new Body{timeUs, interfaceIndex, std::move(bytes)})
{
}

QrxRecordedEvent::QrxRecordedEvent(const QrxRecordedEvent& other) : _body(std::make_unique<Body>(*other._body)) {}

QrxRecordedEvent::QrxRecordedEvent(QrxRecordedEvent&& other) noexcept = default;

// The parameter is the copy, or what was moved: if copying throws, this event is unchanged, and an event may be
// assigned to itself.
QrxRecordedEvent& QrxRecordedEvent::operator=(QrxRecordedEvent other) noexcept
{
    _body.swap(other._body);
    return *this;
}

QrxRecordedEvent::~QrxRecordedEvent() = default;

std::uint64_t QrxRecordedEvent::getTimeUs() const
{
    return _body->timeUs;
}

QrxRecordedEvent& QrxRecordedEvent::setTimeUs(std::uint64_t timeUs)
{
    _body->timeUs = timeUs;
    return *this;
}

std::size_t QrxRecordedEvent::getInterfaceIndex() const
{
    return _body->interfaceIndex;
}

QrxRecordedEvent& QrxRecordedEvent::setInterfaceIndex(std::size_t interfaceIndex)
{
    _body->interfaceIndex = interfaceIndex;
    return *this;
}

const std::vector<std::uint8_t>& QrxRecordedEvent::getBytes() const
{
    return _body->bytes;
}

QrxRecordedEvent& QrxRecordedEvent::setBytes(std::vector<std::uint8_t> bytes)
{
    _body->bytes = std::move(bytes);
    return *this;
}
