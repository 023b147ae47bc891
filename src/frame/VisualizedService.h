#pragma once
#include "frame/VisualizedOperateManager.h"
#include "tarn/visualized/IVisualizedService.h"

/// The object that remote callers find; its only job is to hand out the dispatcher of the operations. Any thread.
class CVisualizedService final : public IVisualizedService
{
public:
    QSharedPointer<IVisulizedOperateManager>
    getVisualizedOperateManager(QSharedPointer<IVisualizedService_InputArg>,
                                QSharedPointer<IVisualizedService_OutputArg> output) override
    {
        if (output)
            output->SetRetCode(tarn::visualized::HandedOut);
        return m_operateManager;
    }

private:
    const QSharedPointer<CVisualizedOperateManager> m_operateManager =
        QSharedPointer<CVisualizedOperateManager>::create();
};
