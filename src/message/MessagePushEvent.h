#pragma once

#include <QEnableSharedFromThis>
#include <QEvent>
#include <QObject>
#include <QSharedPointer>
#include <QString>

enum EEventSource { eSourceUnknown = 0, eSourceMessageCenter = 1 };

/// Data of a push event. One object serves all events of one notification, posted at several times to several
/// receivers. Made as a QSharedPointer it goes with the last of its events; made otherwise it is its maker's to delete.
class IEventData : public QObject, public QEnableSharedFromThis<IEventData>
{
public:
    IEventData() = default;
};

/// Names the message that an event is about, and where the event came from.
class CCommonEventData final : public IEventData
{
public:
    EEventSource GetEventSource() const { return m_source; }
    void SetEventSource(EEventSource source) { m_source = source; }
    QString GetMessageId() const { return m_messageId; }
    void SetMessageId(const QString &messageId) { m_messageId = messageId; }

private:
    EEventSource m_source = eSourceUnknown;
    QString m_messageId;
};

/// Tells a listener that a message was displayed or its link followed. GUI thread.
class CMessagePushEvent final : public QEvent
{
public:
    static const QEvent::Type eUnknownType;      ///< 1960
    static const QEvent::Type eMessageDisplayed; ///< 1961, the message was read
    static const QEvent::Type eMessageClicked;   ///< 1962, the message's link was followed

    /// @param data may be null; not owned, but kept alive by this event when it lives in a QSharedPointer
    CMessagePushEvent(QEvent::Type type, IEventData *data);
    ~CMessagePushEvent() override;

    IEventData *GetEventData() { return m_data; }

private:
    Q_DISABLE_COPY(CMessagePushEvent)

    IEventData *m_data;
    QSharedPointer<IEventData> m_share; // null for data that nobody shares
};
