#include "QrxVirtualScript.h"

#include "ScriptReader.h"
#include "VirtualScriptBody.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

QrxVirtualScript::QrxVirtualScript() : _body(std::make_unique<Body>()) {}

QrxVirtualScript::QrxVirtualScript(const QrxVirtualScript& other) : _body(std::make_unique<Body>(*other._body)) {}

QrxVirtualScript::QrxVirtualScript(QrxVirtualScript&& other) noexcept = default;

QrxVirtualScript& QrxVirtualScript::operator=(QrxVirtualScript other) noexcept
{
    _body.swap(other._body);
    return *this;
}

QrxVirtualScript::~QrxVirtualScript() = default;

QrxVirtualScript QrxVirtualScript::read(std::istream& text, const std::string& fileName)
{
    QrxVirtualScript script;
    qrx::platform::script::ScriptReader(fileName, script._body->rules).read(text);
    return script;
}

QrxVirtualScript QrxVirtualScript::readFile(const std::string& fileName)
{
    // A stream does not promise to set errno; without this, a message could show the error of an earlier call.
    errno = 0;
    std::ifstream text(fileName);
    if (!text) {
        throw QrxRecordingError(fileName, 0, std::string("cannot be opened: ") + std::strerror(errno));
    }
    return read(text, fileName);
}

QrxVirtualScript& QrxVirtualScript::add(const std::string& line)
{
    // Messages name a rule that a program adds by its place, as they name a line of a file.
    qrx::platform::script::ScriptReader("rule", _body->rules).readLine(line, getRuleCount() + 1);
    return *this;
}

std::size_t QrxVirtualScript::getRuleCount() const
{
    return _body->rules.rules.size();
}

std::uint64_t QrxVirtualScript::getSeed() const
{
    return _body->rules.seed;
}

QrxVirtualScript& QrxVirtualScript::setSeed(std::uint64_t seed)
{
    _body->rules.seed = seed;
    return *this;
}
