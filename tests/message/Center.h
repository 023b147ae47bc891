#pragma once

#include "message/MessageCard.h"
#include "message/MessageList.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDataMgr.h"
#include "message/MsgCenterDlg.h"
#include "support/FakeClient.h"
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>
#include <QThreadPool>
#include <QToolButton>
#include <memory>

// The message center over a faked service, as the tests of this folder drive it.
namespace center {

inline QVariantMap message(const QString &id, const QVariantMap &changes = {})
{
    QVariantMap values{{"MsgId", id},
                       {"MsgTitle", "标题 " + id},
                       {"MsgDateTime", "2026-11-21 09:30:00"},
                       {"MsgContent", "正文 " + id},
                       {"unRead", true}};
    values.insert(changes);
    return values;
}

inline QVariantList messages(int count)
{
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(message(QString("id%1").arg(i)));
    return list;
}

using Window = std::unique_ptr<CMsgCenterDlg>;

// A shown window with these messages.
inline Window open(const QVariantList &list)
{
    FakeClient::fake().queue("GetAllMessageRecords", {2000, {}, {}, list});
    auto window = std::make_unique<CMsgCenterDlg>(nullptr);
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        return nullptr;
    return window;
}

inline MessageList *list(const Window &window)
{
    return window->findChild<MessageList *>();
}

inline CMessageListItem *item(const Window &window, int index)
{
    return list(window)->items().at(size_t(index));
}

inline QToolButton *arrow(CMessageListItem *item)
{
    item->buildParts();
    return item->findChild<QToolButton *>("arrowButton");
}

inline QToolButton *bin(CMessageListItem *item)
{
    item->buildParts();
    return item->findChild<QToolButton *>("deleteButton");
}

// Whether the unread mark is painted.
inline bool hasDot(CMessageListItem *item)
{
    const QImage card = item->grab().toImage();
    return card.pixelColor(MessageCard::of(item).dotRect().center()).saturation() > 100;
}

inline int page(const Window &window)
{
    return window->findChild<QStackedWidget *>()->currentIndex();
}

inline QPushButton *readAll(const Window &window)
{
    return window->findChild<QPushButton *>("readAllButton");
}

// "receipt 2 id", "MsgState 2 id,id", "MessageStatu 3 id": the reports to the service since the last reset.
inline QStringList reports()
{
    QThreadPool::globalInstance()->waitForDone();
    QStringList result;
    for (const FakeCall &call : FakeClient::fake().calls()) {
        const QVariantMap &values = call.values;
        if (call.operation == "AddMessageReceipt")
            result.append("receipt " + values.value("MessageReceipt").toString() + " " +
                          values.value("MsgId").toString());
        if (call.operation == "UpdateMessageStatus") {
            const QString type = values.value("Operate_type").toString();
            result.append(type + " " + values.value(type).toString() + " " +
                          values.value("MsgId_list").toStringList().join(","));
        }
    }
    result.sort(); // reports run on several threads
    return result;
}

// Forgets the calls and the answers of the test before.
inline void reset()
{
    QThreadPool::globalInstance()->waitForDone();
    FakeClient::fake().reset();
}

} // namespace center
