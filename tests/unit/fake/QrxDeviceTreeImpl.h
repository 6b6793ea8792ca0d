#pragma once

// Stands in for the backend's header of this name where the model's sources are built for the unit tests: a tree whose
// platform is a script of the test's.

#include "QrxDeviceTree.h"

#include <functional>

class _QrxDeviceTreeImpl : public QrxDeviceTree {
public:
    using Script = std::function<void(_QrxDeviceTreeImpl&)>;

    _QrxDeviceTreeImpl() { ++sm_LiveTrees; }
    ~_QrxDeviceTreeImpl() override { --sm_LiveTrees; }

    using QrxDeviceTree::observe;
    using QrxDeviceTree::populate;

    void populate(const std::vector<std::pair<unsigned short, unsigned short>>& ids) override
    {
        QrxDeviceTree::populate(ids);
        if (sm_OnPopulate)
            sm_OnPopulate(*this);
    }

    void observe(const std::vector<std::pair<unsigned short, unsigned short>>& ids) override
    {
        QrxDeviceTree::observe(ids);
        if (sm_OnObserve)
            sm_OnObserve(*this);
    }

    static inline int sm_LiveTrees = 0;
    static inline Script sm_OnPopulate;
    static inline Script sm_OnObserve;
};
