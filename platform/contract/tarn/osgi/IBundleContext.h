#pragma once

namespace tarn::osgi {

/// What a host passes to its bundles; the visualized service reads nothing from it. Owned by the host; valid from start()
/// to the end of stop().
class IBundleContext
{
public:
    virtual ~IBundleContext() = default;
};

} // namespace tarn::osgi
