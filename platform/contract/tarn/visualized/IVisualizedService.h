#pragma once
#include "tarn/args/IServiceArgs.h"
#include <QSharedPointer>
#include <QString>

class IVisulizedOperateManager;

/// Arguments of the hand-out call; return code 6000: the dispatcher was handed out.
class IVisualizedService_InputArg : public tarn::IServiceInputArgs
{
};

class IVisualizedService_OutputArg : public tarn::IServiceOutputArgs
{
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
