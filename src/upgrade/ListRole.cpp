#include "upgrade/ListRole.h"
#include <QAccessible>
#include <QAccessibleWidget>
#include <QVariant>

namespace tarn::visualized::listrole {
namespace {

constexpr char Role[] = "tarnListRole";

bool hasRole(const QWidget *widget, QAccessible::Role role)
{
    return widget->property(Role).toInt() == role;
}

class ItemInterface final : public QAccessibleWidget
{
public:
    explicit ItemInterface(QWidget *item)
        : QAccessibleWidget(item, QAccessible::ListItem)
    {
    }

    QAccessibleInterface *parent() const override
    {
        for (QWidget *above = widget()->parentWidget(); above; above = above->parentWidget()) {
            if (hasRole(above, QAccessible::List))
                return QAccessible::queryAccessibleInterface(above);
        }
        return QAccessibleWidget::parent();
    }
};

class ListInterface final : public QAccessibleWidget
{
public:
    explicit ListInterface(QWidget *list)
        : QAccessibleWidget(list, QAccessible::List)
    {
    }

    int childCount() const override { return items().size(); }
    QAccessibleInterface *child(int index) const override
    {
        return QAccessible::queryAccessibleInterface(items().value(index));
    }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        return child ? items().indexOf(qobject_cast<QWidget *>(child->object())) : -1;
    }

private:
    QWidgetList items() const
    {
        QWidgetList result;
        const auto widgets = widget()->findChildren<QWidget *>();
        for (QWidget *one : widgets) {
            if (hasRole(one, QAccessible::ListItem) && !one->isHidden())
                result << one;
        }
        return result;
    }
};

QAccessibleInterface *makeInterface(const QString &, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    if (widget && hasRole(widget, QAccessible::List))
        return new ListInterface(widget);
    if (widget && hasRole(widget, QAccessible::ListItem))
        return new ItemInterface(widget);
    return nullptr;
}

// Removed with the library that holds makeInterface().
struct Factory
{
    Factory() { QAccessible::installFactory(makeInterface); }
    ~Factory() { QAccessible::removeFactory(makeInterface); }
    Q_DISABLE_COPY(Factory)
};

void setRole(QWidget *widget, QAccessible::Role role)
{
    static const Factory factory;
    widget->setProperty(Role, int(role));
}

} // namespace

void setList(QWidget *widget)
{
    setRole(widget, QAccessible::List);
}

void setItem(QWidget *widget)
{
    setRole(widget, QAccessible::ListItem);
}

} // namespace tarn::visualized::listrole
