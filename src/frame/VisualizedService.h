#pragma once
#include "tarn/visualized/IVisualizedService.h"

class CVisualizedOperateManager;

/// The object that remote callers find; its only job is to hand out the dispatcher of the operations. Any thread.
class CVisualizedService final : public IVisualizedService
{
public:
    CVisualizedService();
    ~CVisualizedService() override;
    Q_DISABLE_COPY(CVisualizedService)

    QSharedPointer<IVisulizedOperateManager>
    getVisualizedOperateManager(QSharedPointer<IVisualizedService_InputArg> input,
                                QSharedPointer<IVisualizedService_OutputArg> output) override;

private:
    QSharedPointer<CVisualizedOperateManager> m_operateManager;
};
