#include "ToolRun.h"

#include "library/ChildProcess.h"

#include <ostream>
#include <utility>

namespace qrx::guest {

namespace {

ToolRun runToEnd(std::vector<std::string> words, unsigned userID)
{
    ChildProcess process(std::move(words), userID);
    process.readUntil([](const std::string&) { return false; });
    const int status = process.end();
    return {status, process.output()};
}

} // namespace

void PrintTo(const ToolRun& run, std::ostream* stream)
{
    *stream << "status " << run.status << "\n" << run.text;
}

ToolRun runTool(std::vector<std::string> words, unsigned userID)
{
    words.insert(words.begin(), QRXHID_PROGRAM);
    return runToEnd(std::move(words), userID);
}

ToolRun runShell(const std::string& line)
{
    const std::string preparation = "sudo() { \"$@\"; }; qrxhid() { " QRXHID_PROGRAM " \"$@\"; }; ";
    return runToEnd({"/bin/sh", "-c", preparation + line}, 0);
}

} // namespace qrx::guest
