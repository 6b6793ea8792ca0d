#pragma once

// What a device and a collection have in common when they look through their elements for reports.
//
// Both walk their children in order and ask of each one what the functions below ask. A collection is asked for the
// result of its own walk, so the tree is walked depth first. Whether an element is a collection and whether it is a
// capability are independent questions; one that is neither adds nothing.

#include "QrxHIDCapability.h"
#include "QrxHIDElement.h"

#include <vector>

/// Inserts the report IDs of `element` and below that `reportIDs` does not have yet, and keeps the list ascending.
void insertReportIDs(const QrxHIDElementPtr& element, std::vector<unsigned int>& reportIDs);

/// Appends the capabilities of report `reportID` among `element` and below. An element that claims to be a capability
/// and is none appends an empty handle.
void appendCapabilities(const QrxHIDElementPtr& element, unsigned int reportID,
                        std::vector<QrxHIDCapabilityPtr>& capabilities);
