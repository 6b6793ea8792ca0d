#pragma once

#include "FakeNode.h"

#include <map>
#include <memory>
#include <string>

namespace qrx::platform::test {

/// The report nodes of a tree of plain files: each opening of ".../dev/hidrawN" is a FakeNode of its own, as each open
/// file has its own queue in the kernel; all other calls are the kernel's.
class FakeNodes : public SystemCalls {
public:
    /// `deviceRoot` is the folder of the nodes; one whose file is missing cannot be opened.
    explicit FakeNodes(std::string deviceRoot) : _prefix(std::move(deviceRoot) + "/hidraw") {}

    /// An input report for everyone who has the node open.
    void queue(int hidraw, const Bytes& report);
    /// For everyone who has the node open.
    void unplug(int hidraw);
    /// What the node's next request that reads is answered with, whoever has it open.
    void answer(int hidraw, const Bytes& bytes);
    /// The requests of everyone who has the node open, one line each.
    std::string takeRequests(int hidraw);
    std::size_t openCount() const { return _open.size(); }

    int openAt(int directory, const char* path, int flags) override;
    int close(int fd) override;
    ssize_t read(int fd, void* buffer, std::size_t size) override;
    ssize_t readv(int fd, const iovec* segments, int count) override;
    ssize_t readvFlagged(int fd, const iovec* segments, int count, int flags) override;
    ssize_t write(int fd, const void* bytes, std::size_t size) override;
    int control(int fd, unsigned long request, void* argument) override;

private:
    struct Open {
        int hidraw = 0;
        std::unique_ptr<FakeNode> node;
    };
    /// Null if the descriptor is no report node's.
    FakeNode* nodeOf(int fd);

    const std::string _prefix;
    std::map<int, Open> _open;
};

} // namespace qrx::platform::test
