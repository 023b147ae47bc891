#pragma once
#include <QSharedPointer>
#include <QString>
#include <QVariant>

class IVisulizedOperateManager;

/// Arguments of the hand-out call.
class IVisualizedService_InputArg
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual ~IVisualizedService_InputArg() = default;
};

class IVisualizedService_OutputArg
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual void SetRetCode(int code) = 0; ///< 6000: the dispatcher was handed out
    virtual int GetRetCode() = 0;
    virtual ~IVisualizedService_OutputArg() = default;
};

/// The object that remote callers find under the visualized service's tag. Called on RPC worker threads.
class IVisualizedService
{
public:
    virtual ~IVisualizedService() = default;
    /// Hands out the dispatcher of the operations; sets output's return code to 6000. The input is not read.
    virtual QSharedPointer<IVisulizedOperateManager>
    getVisualizedOperateManager(QSharedPointer<IVisualizedService_InputArg> input,
                                QSharedPointer<IVisualizedService_OutputArg> output) = 0;
};

namespace tarn::visualized {
inline const QString Interface = QStringLiteral("IVisualizedService");  ///< interface name on the RPC layer
inline const QString DefaultTag = QStringLiteral("IVisualizedService"); ///< tag under which hosts bind it
constexpr int HandedOut = 6000;
} // namespace tarn::visualized
