#include "message/MessageObserver.h"

#include "message/MessagePushEvent.h"

#include <QCoreApplication>

QList<QObject *> CMessageObserver::_listListeners;

CMessageObserver *CMessageObserver::GetObserverInstance()
{
    static CMessageObserver observer;
    return &observer;
}

void CMessageObserver::AddListener(QObject *listener)
{
    if (!listener || _listListeners.contains(listener))
        return;
    _listListeners.append(listener);
    connect(listener, &QObject::destroyed, this, &CMessageObserver::OnListenerDestroyed);
}

void CMessageObserver::RemoveListener(QObject *listener)
{
    if (listener && _listListeners.removeOne(listener))
        disconnect(listener, &QObject::destroyed, this, &CMessageObserver::OnListenerDestroyed);
}

void CMessageObserver::NotifyEvent(IEventData *data, EMessageEventType type)
{
    QEvent::Type eventType = QEvent::None;
    switch (type) {
    case eEventUnknown:
        eventType = CMessagePushEvent::eUnknownType;
        break;
    case eEventDisplayed:
        eventType = CMessagePushEvent::eMessageDisplayed;
        break;
    case eEventClicked:
        eventType = CMessagePushEvent::eMessageClicked;
        break;
    default:
        return;
    }
    for (QObject *listener : std::as_const(_listListeners)) {
        if (listener)
            QCoreApplication::postEvent(listener, new CMessagePushEvent(eventType, data));
    }
}

void CMessageObserver::OnListenerDestroyed(QObject *listener)
{
    _listListeners.removeOne(listener);
}
