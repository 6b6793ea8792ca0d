#pragma once

/// Compares our reading of a descriptor with the independent one that `oracle.py` prints as JSON.
///
/// The two differ on purpose in some points. Each is a reason in a list, with a test of its own for whether it applies;
/// what no reason covers is a failure.

#include "HID/ElementTree.h"

#include <nlohmann/json.hpp>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qrx::hid {

class OracleComparison {
public:
    /// `descriptor` and `oracle` must outlive the comparison; `oracle` is the object of one file. The diagnoses must be
    /// complete: `limits` may not have cut them.
    OracleComparison(const Descriptor& descriptor, const nlohmann::json& oracle, const Limits& limits = {});

    /// What differs without a reason, one line each.
    const std::vector<std::string>& failures() const { return _failures; }
    /// The reasons that were needed, with how often.
    const std::map<std::string, int>& reasons() const { return _reasons; }

private:
    void _compareCollections();
    void _compareReports();
    void _compareFields();
    void _compareField(const Field& field, const nlohmann::json& expected);
    void _compareUsages(const Field& field, const nlohmann::json& expected);
    void _comparePhysicalRange(const Field& field, const nlohmann::json& expected);
    void _comparePath(const Field& field, const nlohmann::json& expected);
    void _compareErrors();
    bool _hasDiagnosis(std::size_t offset, const std::string& reasonPart) const;
    bool _isBeyondLimit(std::size_t offset) const;

    template <typename Mine, typename Theirs>
    void _expectEqual(std::size_t offset, const char* what, const Mine& mine, const Theirs& theirs);
    void _fail(std::size_t offset, const std::string& text);
    void _explain(const char* reason) { ++_reasons[reason]; }

    const Descriptor& _descriptor;
    const nlohmann::json& _oracle;
    const Limits _limits;
    /// By (type, id): reports some of whose fields are beyond the limit of report bits.
    std::set<std::pair<int, std::uint32_t>> _cutReports;
    std::vector<std::string> _failures;
    std::map<std::string, int> _reasons;
};

} // namespace qrx::hid
