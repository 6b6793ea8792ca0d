#include "CommandLine.h"
#include "ExitStatus.h"
#include "UsageError.h"
#include "devices/DeviceSession.h"
#include "text/Notice.h"

#include <exception>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

using namespace qrxhid;

/// The library writes notices to std::cout ("device notification: ..."), which would stand between our lines and spoil
/// JSON. While this lives they go nowhere; the tool writes to out().
class OwnOutput {
public:
    OwnOutput() : _out(std::cout.rdbuf(&_nowhere)) {}
    ~OwnOutput() { std::cout.rdbuf(_out.rdbuf()); }
    OwnOutput(const OwnOutput&) = delete;
    OwnOutput& operator=(const OwnOutput&) = delete;

    std::ostream& out() { return _out; }

private:
    struct Nowhere : std::streambuf {
        // Success, or std::cout would be in a state of error for whoever looks.
        int_type overflow(int_type character) override { return traits_type::not_eof(character); }
    };

    Nowhere _nowhere;
    std::ostream _out;
};

ExitStatus runCommand(const CommandLine& line, std::ostream& out)
{
    if (!line.command) {
        out << line.text;
        return kSuccess;
    }
    return line.command->run(out);
}

void showLines(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines) {
        std::cerr << "  " << line << "\n";
    }
}

// All that ends a command early arrives here, so that each reason has one text and one status.
ExitStatus run(int count, const char* const* words, std::ostream& out)
{
    try {
        const ExitStatus status = runCommand(CommandLine::parse(count, words), out);
        // A full disk or a closed pipe may show no earlier than now.
        if (!out.flush()) {
            notice("the output cannot be written");
            return kFailure;
        }
        return status;
    } catch (const UsageError& error) {
        notice(error.what());
        showLines(error.choices());
        std::cerr << "Try: " << shownText(error.hint()) << "\n";
        return kWrongUsage;
    } catch (const QrxRecordingError& error) {
        // FILE:LINE: first, where editors look for it.
        std::cerr << shownText(error.what()) << "\n";
        return kBadRecording;
    } catch (const UnknownDevice& error) {
        notice(error.what());
        showLines(error.present());
        return kFailure;
    } catch (const std::exception& error) {
        notice(error.what());
        return kFailure;
    }
}

} // namespace

int main(int count, char** words)
{
    OwnOutput output;
    return run(count, words, output.out());
}
