#include "frame/VisualizedEvents.h"
#include "message/NoticeQueue.h"
#include <atomic>

using tarn::visualized::NoticeQueue;

namespace {
std::atomic<int> requests{0};

/// NoticeQueue limits the notices separately.
int countOf(QEvent::Type type)
{
    return type == CVisualizedEvents::eShowNotifyMsgDialog ? 0 : 1;
}
} // namespace

CVisualizedEvents::CVisualizedEvents(QEvent::Type type, IVisualizedEventData *data)
    : QEvent(type)
    , m_data(data)
{
    requests += countOf(type);
}

CVisualizedEvents::~CVisualizedEvents()
{
    requests -= countOf(type());
    delete m_data;
}

int CVisualizedEvents::pendingRequests()
{
    return requests;
}

CNotifyMsgEventData::CNotifyMsgEventData(QMap<QString, QVariant> values)
    : msgValues(std::move(values))
{
    NoticeQueue::instance().posted(&msgValues);
}

CNotifyMsgEventData::~CNotifyMsgEventData()
{
    NoticeQueue::instance().forget(&msgValues);
}
