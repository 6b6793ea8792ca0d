#pragma once

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>

namespace qrxhid {

/// Whether both name the same regular file, by whatever way; "-" as `input` is standard input, and as `output` no file.
bool isSameFile(const std::string& output, const std::string& input);

/// Puts SIGINT and SIGTERM off for as long as it lives; one that came meanwhile ends the process with it.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

private:
    sigset_t _before;
};

/// A file that is written whole or not at all: what is written stands beside it until the end, and then takes its
/// place. An output that is no regular file (a pipe, a terminal) is written as it comes. A signal to end waits until
/// the file is in its place or gone.
class OutputFile {
public:
    explicit OutputFile(const std::string& name);
    /// Leaves what the file held before if commit() did not succeed.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::ostream& stream() { return _stream; }
    /// Says on standard error why the file could not be written, and false.
    bool commit();

private:
    bool fail(const char* what, int error);

    /// Before the rest, so that it ends last. Empty where there is no temporary file to remove.
    std::optional<HeldSignals> _held;
    std::string _name;
    /// Where a link leads to: it is not to become a file.
    std::filesystem::path _target;
    /// Empty where the output is no regular file.
    std::filesystem::path _temporary;
    int _openError = 0;
    std::ofstream _stream;
};

} // namespace qrxhid
