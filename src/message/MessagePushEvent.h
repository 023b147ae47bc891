#pragma once

#include <QEnableSharedFromThis>
#include <QEvent>
#include <QObject>
#include <QSharedPointer>
#include <QString>

enum EEventSource { eSourceUnknown = 0, eSourceMessageCenter = 1 };

/// Data of a push event, shared by all events of one notification. Created as a QSharedPointer it is destroyed with the last
/// of its events; created otherwise its creator deletes it.
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
    static constexpr QEvent::Type eUnknownType = static_cast<QEvent::Type>(1960);
    static constexpr QEvent::Type eMessageDisplayed = static_cast<QEvent::Type>(1961); ///< the message was read
    static constexpr QEvent::Type eMessageClicked = static_cast<QEvent::Type>(1962);   ///< its link was followed

    /// @param data may be null; not owned, but kept alive by this event when it lives in a QSharedPointer
    CMessagePushEvent(QEvent::Type type, IEventData *data)
        : QEvent(type)
        , m_data(data)
        , m_share(data ? data->sharedFromThis() : nullptr)
    {
    }
    Q_DISABLE_COPY(CMessagePushEvent)

    IEventData *GetEventData() { return m_data; }

private:
    IEventData *m_data;
    QSharedPointer<IEventData> m_share; // null for data that is not shared
};
