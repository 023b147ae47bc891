#include "message/MessageAccessible.h"

#include "message/MessageList.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDataMgr.h"

#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"

#include <QAccessibleWidget>
#include <algorithm>

using namespace tarn::visualized;

namespace {
constexpr int MaxSpoken = 2000; // characters

QAccessibleInterface *interfaceOf(QObject *object)
{
    return QAccessible::queryAccessibleInterface(object);
}

/// One message: named by its title, described by time and text; its children are buttons and body.
class ItemInterface final : public QAccessibleWidget
{
public:
    explicit ItemInterface(CMessageListItem *item)
        : QAccessibleWidget(item, QAccessible::ListItem)
    {
    }

    QAccessibleInterface *parent() const override
    {
        MessageList *list = MessageList::of(item());
        return list ? interfaceOf(list) : QAccessibleWidget::parent();
    }

    int childCount() const override
    {
        item()->buildParts();
        return QAccessibleWidget::childCount();
    }

    QString text(QAccessible::Text kind) const override
    {
        const sMsgData &message = item()->message();
        if (kind == QAccessible::Name)
            return text::brief(message.MsgTitle);
        if (kind != QAccessible::Description)
            return QAccessibleWidget::text(kind);
        if (item()->isExpanded())
            return QStringLiteral("已展开 ") + safehtml::words(message.MsgContent, MaxSpoken);
        const QString mark = message.unRead ? QStringLiteral("未读 ") : QString();
        return mark + message.MsgDateTime + QLatin1Char(' ') + item()->preview();
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.invisible = item()->isDeleted(); // the list shows the others when they come into view
        state.selectable = true;
        state.selected = item()->isSelected();
        state.focusable = true;
        state.expandable = true;
        state.expanded = item()->isExpanded();
        state.collapsed = !item()->isExpanded();
        return state;
    }

    QStringList actionNames() const override { return {pressAction(), toggleAction(), setFocusAction()}; }

    void doAction(const QString &name) override
    {
        if (name == pressAction())
            item()->select();
        else if (name == toggleAction())
            item()->OnArrowBtnClicked();
        else if (name == setFocusAction())
            takeFocus();
    }

private:
    void takeFocus()
    {
        if (MessageList *list = MessageList::of(item()))
            list->scrollTo(item()); // shows it, without which it cannot have the focus
        QAccessibleWidget::doAction(setFocusAction());
    }

    CMessageListItem *item() const { return static_cast<CMessageListItem *>(widget()); }
};

class ListInterface final : public QAccessibleWidget
{
public:
    explicit ListInterface(MessageList *list)
        : QAccessibleWidget(list, QAccessible::List)
    {
    }

    int childCount() const override { return int(items().size()); }

    QAccessibleInterface *child(int index) const override
    {
        return index >= 0 && index < childCount() ? interfaceOf(items()[size_t(index)]) : nullptr;
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        const auto found = std::find(items().begin(), items().end(), child ? child->object() : nullptr);
        return found == items().end() ? -1 : int(found - items().begin());
    }

private:
    MessageList *list() const { return static_cast<MessageList *>(widget()); }
    const std::vector<CMessageListItem *> &items() const { return list()->items(); }
};

QAccessibleInterface *makeInterface(const QString &, QObject *object)
{
    if (auto *item = qobject_cast<CMessageListItem *>(object))
        return new ItemInterface(item);
    if (auto *list = qobject_cast<MessageList *>(object))
        return new ListInterface(list);
    return nullptr;
}
} // namespace

void messageaccessible::install()
{
    QAccessible::installFactory(makeInterface); // does nothing but the first time
}
