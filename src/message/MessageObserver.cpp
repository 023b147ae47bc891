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
    connect(listener, &QObject::destroyed, this, [listener] { _listListeners.removeOne(listener); });
}

void CMessageObserver::RemoveListener(QObject *listener)
{
    if (listener && _listListeners.removeOne(listener))
        listener->disconnect(this);
}

void CMessageObserver::NotifyEvent(IEventData *data, EMessageEventType type)
{
    static constexpr QEvent::Type types[] = {CMessagePushEvent::eUnknownType, CMessagePushEvent::eMessageDisplayed,
                                             CMessagePushEvent::eMessageClicked};
    if (type < eEventUnknown || type > eEventClicked)
        return;
    for (QObject *listener : std::as_const(_listListeners))
        QCoreApplication::postEvent(listener, new CMessagePushEvent(types[type], data));
}
