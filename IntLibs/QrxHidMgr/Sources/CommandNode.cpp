#include "CommandNode.h"

#include <utility>

CommandNode::CommandNode() : _reportType(0), _reportId(0), _interfaceNumber(0) {}

CommandNode::~CommandNode() = default;

unsigned int CommandNode::getReportType()
{
    return _reportType;
}

void CommandNode::setReportType(unsigned int reportType)
{
    _reportType = reportType;
}

unsigned int CommandNode::getReportId()
{
    return _reportId;
}

void CommandNode::setReportId(unsigned int reportId)
{
    _reportId = reportId;
}

std::valarray<signed char>& CommandNode::getReport()
{
    return _report;
}

void CommandNode::setReport(const std::valarray<signed char>& report)
{
    // `getReport` gives out the array itself, so the source may be this record's own array. `resizeReport` would clear
    // it before it is copied.
    if (&report == &_report) {
        return;
    }
    resizeReport(report.size());
    _report = report;
}

int CommandNode::getInterfaceNumber()
{
    return _interfaceNumber;
}

void CommandNode::setInterfaceNumber(int interfaceNumber)
{
    _interfaceNumber = interfaceNumber;
}

void CommandNode::setPath(std::string path)
{
    _path = std::move(path);
}

std::string CommandNode::getPath()
{
    return _path;
}

size_t CommandNode::getReportLen()
{
    return _report.size();
}

void CommandNode::resizeReport(unsigned long length)
{
    // `valarray::resize` may take new storage even for the present length, which is the usual case of an application
    // that reuses a record.
    if (length == _report.size()) {
        _report = static_cast<signed char>(0);
    } else {
        _report.resize(length);
    }
}

bool CommandNode::setReportAt(unsigned long index, signed char value)
{
    // `valarray` does not check its index; out of range is an answer of this class, not undefined behaviour.
    if (index >= _report.size()) {
        return false;
    }
    _report[index] = value;
    return true;
}

signed char CommandNode::getReportAt(unsigned long index)
{
    return index < _report.size() ? _report[index] : static_cast<signed char>(0);
}
