#pragma once
#include <QString>
#include <QVariant>

namespace tarn::osgi {

/// The facts about a bundle that its host passes to it. Owned by the host; valid from start() to the end of stop().
class IBundleContext
{
public:
    virtual ~IBundleContext() = default;
    /// The bundle's name, as its metadata gives it ("Name").
    virtual QString bundleName() const = 0;
    /// A property of the host, e.g. "plugin.path" (string, absolute path of the bundle's file); invalid if unknown.
    virtual QVariant property(const QString &key) const = 0;
};

} // namespace tarn::osgi
