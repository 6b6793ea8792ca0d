// The program is not touched: it finds our library under hidapi's name, because the folder of that library is the first
// where the loader looks. What the library shall do stands in the environment.

#include "commands/RunCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "text/Notice.h"

#include "QrxRecording.h"
#include "QrxVirtualScript.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

#include <unistd.h>

namespace qrxhid {

namespace {

constexpr const char* kLibraryName = "libhidapi-hidraw.so.0";

/// Where the library lies beside an installed tool, and beside one that has just been built.
constexpr std::array kFolders = {QRXHID_INSTALLED_HIDAPI, QRXHID_BUILT_HIDAPI};

/// Empty if the library is nowhere.
std::filesystem::path libraryFolder()
{
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* folder : kFolders) {
        const std::filesystem::path candidate = (self / folder).lexically_normal();
        // By this program's own place and not by a search path: a library that was moved with the tool is found.
        if (std::filesystem::exists(candidate / kLibraryName, error)) {
            return candidate;
        }
    }
    return {};
}

/// What the environment variable had already comes after.
void putFirst(const char* variable, const std::string& folder)
{
    const char* before = std::getenv(variable);
    const std::string value = before != nullptr && *before != '\0' ? folder + ":" + before : folder;
    ::setenv(variable, value.c_str(), 1);
}

std::string lines(const std::vector<std::string>& files)
{
    std::string text;
    for (const std::string& file : files) {
        // Absolute, as the program may change its folder before it asks for devices.
        text += std::filesystem::absolute(file).string() + "\n";
    }
    return text;
}

} // namespace

void RunCommand::declareOptions(OptionSet& options)
{
    options.addOption("--recording", _recordings, "A recorded device; may be repeated", "FILE");
    options.addOption("--faults", _faults, "What the recorded devices answer and do; one file for all, or one for each",
                      "FILE");
    options.addFlag("--only-virtual", _isOnlyVirtual, "Hide the machine's own devices from the program");
    options.addRequiredWords("program", _program, "The program and its arguments, after --", "-- PROGRAM ARGS...");
}

void RunCommand::checkOptions()
{
    for (const auto* files : {&_recordings, &_faults}) {
        // The environment variable has a file a line; a colon, as in other lists, occurs in file names.
        if (std::ranges::any_of(*files, [](const std::string& file) { return file.find('\n') != std::string::npos; })) {
            throw UsageError("a file's name has a line end in it", "mv it to a name without");
        }
    }
    if (_faults.size() > 1 && _faults.size() != _recordings.size()) {
        throw UsageError("there are " + std::to_string(_recordings.size()) + " recordings and " +
                             std::to_string(_faults.size()) + " files of faults: it takes one for all, or one for each",
                         "qrxhid run --help");
    }
    if (_recordings.empty() && !_faults.empty()) {
        throw UsageError("--faults is for the devices of recordings",
                         "qrxhid run --recording FILE --faults " + _faults.front());
    }
}

ExitStatus RunCommand::run(std::ostream&)
{
    // Read here as well, so that a fault is told before the program starts.
    try {
        std::ranges::for_each(_recordings, QrxRecording::readFile);
        std::ranges::for_each(_faults, QrxVirtualScript::readFile);
    } catch (const QrxRecordingError& error) {
        notice(error.what());
        return kBadRecording;
    }
    const std::filesystem::path folder = libraryFolder();
    if (folder.empty()) {
        notice(std::string(kLibraryName) + " of QrxHIDManager is not installed beside this program");
        std::cerr << "Try: install QrxHIDManager with QRX_BUILD_HIDAPI, or its package for hidapi's programs\n";
        return kFailure;
    }
    putFirst("LD_LIBRARY_PATH", folder.string());
    ::setenv("QRX_HIDAPI_RECORDINGS", lines(_recordings).c_str(), 1);
    ::setenv("QRX_HIDAPI_FAULTS", lines(_faults).c_str(), 1);
    // Set in any case: an outer `run` may have left its own.
    ::setenv("QRX_HIDAPI_ONLY_VIRTUAL", _isOnlyVirtual ? "1" : "", 1);
    std::vector<char*> arguments;
    for (std::string& word : _program) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    // In place of this process: signals, terminal and status are the program's own.
    ::execvp(arguments.front(), arguments.data());
    const int error = errno;
    notice(_program.front() + " cannot be run: " + std::strerror(error));
    // As shells have it, so that scripts can tell the program's own failures from these.
    return error == ENOENT ? kProgramNotFound : kProgramCannotRun;
}

} // namespace qrxhid
