#pragma once
#include <QString>

/// The common part of the four service assistants. The client library owns them; all members may be called from any
/// thread. A service call blocks the calling thread until the service has answered or the deadline has passed.
class IServiceAssistant
{
public:
    /// @param clientName name of the calling program, for the service's logs
    /// @param flag 1 for a client with a user interface
    /// @param errorText receives the reason when the result is false
    virtual bool Initialize(const QString &clientName, int flag, QString &errorText) = 0;
    /// Ends the connection; pending calls come back with the family's "no connection" code.
    virtual void UnInitialize() = 0;

protected:
    ~IServiceAssistant() = default;
};
