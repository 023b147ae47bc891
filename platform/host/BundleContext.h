#pragma once
#include "tarn/osgi/IBundleContext.h"

/// The facts about a bundle that this host passes to it.
class BundleContext final : public tarn::osgi::IBundleContext
{
public:
    BundleContext(QString name, QString file)
        : m_name(std::move(name))
        , m_file(std::move(file))
    {
    }

    QString bundleName() const override { return m_name; }
    QVariant property(const QString &key) const override
    {
        return key == QLatin1String("plugin.path") ? QVariant(m_file) : QVariant();
    }

private:
    QString m_name;
    QString m_file;
};
