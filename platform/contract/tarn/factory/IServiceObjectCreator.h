#pragma once
#include <QString>
#include <QtPlugin>

/// Binds a service object to the RPC layer under a tag and unbinds it. Driven by the host on its main thread.
class IServiceObjectCreator
{
public:
    virtual ~IServiceObjectCreator() = default;
    /// @param tag name under which remote callers find the object
    /// @return false when the object could not be bound; the reason is logged
    virtual bool create(const QString &tag) = 0;
    /// Unbinds the object and tears its service down; create() may be called again afterwards.
    virtual void destroy(const QString &tag) = 0;
};

Q_DECLARE_INTERFACE(IServiceObjectCreator, "com.veltro.IServiceObjectCreator")
