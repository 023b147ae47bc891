#include "message/MessageAccessible.h"

#include "message/CardText.h"
#include "message/MessageList.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDataMgr.h"

#include <QAccessibleWidget>
#include <algorithm>

namespace {
QAccessibleInterface *interfaceOf(QObject *object)
{
    return QAccessible::queryAccessibleInterface(object);
}

/// One message: named by its title, described by time and text; its children are dot, buttons and body.
class ItemInterface final : public QAccessibleWidget
{
public:
    explicit ItemInterface(CMessageListItem *item)
        : QAccessibleWidget(item, QAccessible::ListItem)
    {
    }

    QAccessibleInterface *parent() const override
    {
        QWidget *ancestor = item()->parentWidget();
        while (ancestor && !qobject_cast<MessageList *>(ancestor))
            ancestor = ancestor->parentWidget();
        return ancestor ? interfaceOf(ancestor) : QAccessibleWidget::parent();
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
            return message.MsgTitle;
        if (kind != QAccessible::Description)
            return QAccessibleWidget::text(kind);
        const QString mark = message.unRead ? QStringLiteral("未读 ") : QString();
        return mark + message.MsgDateTime + QLatin1Char(' ') + cardtext::preview(message.MsgContent);
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
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
        else
            QAccessibleWidget::doAction(name);
    }

private:
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

    QAccessibleInterface *childAt(int x, int y) const override
    {
        QWidget *found = list()->viewport()->childAt(list()->viewport()->mapFromGlobal(QPoint(x, y)));
        while (found && !qobject_cast<CMessageListItem *>(found))
            found = found == list() ? nullptr : found->parentWidget();
        return found ? interfaceOf(found) : nullptr;
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
    static const bool installed = (QAccessible::installFactory(makeInterface), true);
    Q_UNUSED(installed)
}

void messageaccessible::release(QWidget *widget)
{
    if (QAccessible::isActive())
        return;
    if (QAccessibleInterface *made = interfaceOf(widget))
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(made));
}
