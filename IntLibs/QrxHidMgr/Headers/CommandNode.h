/// @file
/// A record of one report to send, for applications that queue or script them.

#ifndef QRX_COMMAND_NODE_H
#define QRX_COMMAND_NODE_H

#include "QrxExport.h"

#include <cstddef>
#include <string>
#include <valarray>

/// One report command: type, report ID, bytes, USB interface and a free text. A value, copied and destroyed like any
/// other; the library itself neither makes nor reads one. Nothing fails or throws for an index out of range.
class QRX_EXPORT CommandNode {
public:
    /// Type, report ID and interface 0, no bytes, empty path.
    CommandNode();
    virtual ~CommandNode();

    CommandNode(const CommandNode&) = default;
    CommandNode& operator=(const CommandNode&) = default;

    /// The report type: 0 input, 1 output, 2 feature.
    virtual unsigned int getReportType();
    virtual void setReportType(unsigned int reportType);

    /// The report's number, 0 where reports are not numbered.
    virtual unsigned int getReportId();
    virtual void setReportId(unsigned int reportId);

    /// The bytes themselves, not a copy: valid for as long as the record.
    virtual std::valarray<signed char>& getReport();

    /// Replaces the bytes and their number by those of `report`.
    virtual void setReport(const std::valarray<signed char>& report);

    /// The USB interface number to send on.
    virtual int getInterfaceNumber();
    virtual void setInterfaceNumber(int interfaceNumber);

    /// A free path or name for the command.
    virtual void setPath(std::string path);

    /// A copy of the path.
    virtual std::string getPath();

    /// The number of bytes.
    virtual size_t getReportLen();

    /// Makes the report `length` bytes long and sets all of them to 0. New storage is taken only when the length
    /// changes, so a resize to the present length is the way to clear.
    virtual void resizeReport(unsigned long length);

    /// Stores one byte. False, with nothing changed, when `index` is not below the length.
    virtual bool setReportAt(unsigned long index, signed char value);

    /// One byte; 0 when `index` is not below the length, which cannot be told from a byte of 0.
    virtual signed char getReportAt(unsigned long index);

protected:
    unsigned int _reportType;
    unsigned int _reportId;
    std::valarray<signed char> _report;
    int _interfaceNumber;
    std::string _path;
};

#endif
