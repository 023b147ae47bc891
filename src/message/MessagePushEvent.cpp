#include "message/MessagePushEvent.h"

const QEvent::Type CMessagePushEvent::eUnknownType = static_cast<QEvent::Type>(1960);
const QEvent::Type CMessagePushEvent::eMessageDisplayed = static_cast<QEvent::Type>(1961);
const QEvent::Type CMessagePushEvent::eMessageClicked = static_cast<QEvent::Type>(1962);

CMessagePushEvent::CMessagePushEvent(QEvent::Type type, IEventData *data)
    : QEvent(type)
    , m_data(data)
{
    if (data)
        m_share = data->sharedFromThis();
}

CMessagePushEvent::~CMessagePushEvent() = default;
