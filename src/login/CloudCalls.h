#pragma once
#include "tarn/cloud/ICloudServiceAssistant.h"
#include <QStringList>
#include <QVariantMap>

class ICloudLoginNotify;
class QThreadPool;

/// The calls that the sign-in makes to the cloud account service. Any thread; a call blocks until the service has answered.
namespace cloudcalls {

/// The cloud assistant; null while the client library is missing.
ICloudServiceAssistant *assistant();

/// How a call ended, in values of our own: nothing of the client library is held while a window runs an event loop.
struct Outcome
{
    int code = 0;
    QString error;
    QVariantMap values; ///< of the keys that were asked for; what the service left out is invalid

    bool ok() const;
    bool transportFailed() const;
    bool lockRefused() const;
};

Outcome outcomeOf(ICloudService_OutputArgs &output, const QStringList &keys = {});

using Operation = void (ICloudServiceAssistant::*)(ICloudServiceAssistant::Input, ICloudServiceAssistant::Output);
/// @param keys the output values wanted
Outcome call(ICloudServiceAssistant &assistant, Operation operation, const QVariantMap &input,
             const QStringList &keys = {});

/// One of the service's web addresses.
/// @param key "FC_..." (CloudKeys.h)
/// @param outcome how the call ended
/// @return empty when the service has none, or none that leads to a web page, which is logged
QString linkAddress(ICloudServiceAssistant &assistant, const QString &key, Outcome *outcome = nullptr);

/// The threads of the sign-in; a pool of its own, so that it does not queue behind the tasks of other windows. GUI thread.
QThreadPool &pool();

/// Tells the caller that the user is signed in, on a thread of the pool: the caller's process may be frozen or dead. The
/// end of the service waits a moment for it. Null tells nobody.
void tellCaller(const QSharedPointer<ICloudLoginNotify> &notify);

} // namespace cloudcalls
