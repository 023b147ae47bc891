#pragma once

#include <QList>
#include <QObject>

class IEventData;

enum EMessageEventType { eEventUnknown = 0, eEventDisplayed = 1, eEventClicked = 2 };

/// The process-wide list of objects that are notified when a message is read or clicked. GUI thread.
class CMessageObserver : public QObject
{
    Q_OBJECT
public:
    static CMessageObserver *GetObserverInstance();

    /// Null and known objects are ignored. A destroyed listener leaves the list by itself.
    void AddListener(QObject *listener);
    void RemoveListener(QObject *listener);
    /// Posts one CMessagePushEvent to every listener, in the order of their registration; all share the data.
    /// @param type any other value than the three posts nothing
    virtual void NotifyEvent(IEventData *data, EMessageEventType type);

private:
    CMessageObserver() = default;

    static QList<QObject *> _listListeners;
};
