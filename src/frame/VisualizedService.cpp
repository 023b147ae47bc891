#include "frame/VisualizedService.h"
#include "frame/VisualizedOperateManager.h"

CVisualizedService::CVisualizedService()
    : m_operateManager(QSharedPointer<CVisualizedOperateManager>::create())
{
}

CVisualizedService::~CVisualizedService() = default;

QSharedPointer<IVisulizedOperateManager>
CVisualizedService::getVisualizedOperateManager(QSharedPointer<IVisualizedService_InputArg>,
                                                QSharedPointer<IVisualizedService_OutputArg> output)
{
    if (output)
        output->SetRetCode(tarn::visualized::HandedOut);
    return m_operateManager;
}
