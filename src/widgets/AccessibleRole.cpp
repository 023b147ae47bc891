#include "widgets/AccessibleRole.h"
#include <QAccessibleWidget>
#include <QVariant>
#include <QWidget>

namespace tarn::visualized::accessible {
namespace {

constexpr char RoleProperty[] = "tarnRole";

QAccessibleInterface *make(const QString &, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    const QVariant role = widget ? widget->property(RoleProperty) : QVariant();
    return role.isValid() ? new QAccessibleWidget(widget, QAccessible::Role(role.toInt())) : nullptr;
}

} // namespace

void setRole(QWidget *widget, QAccessible::Role role)
{
    QAccessible::installFactory(make); // does nothing but the first time
    widget->setProperty(RoleProperty, int(role));
}

void announce(QWidget *widget)
{
    QAccessibleEvent event(widget, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace tarn::visualized::accessible
