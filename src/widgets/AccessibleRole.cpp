#include "widgets/AccessibleRole.h"
#include <QAccessibleWidget>
#include <QVariant>

namespace tarn::visualized::accessible {
namespace {

constexpr char RoleProperty[] = "tarnRole";

QAccessibleInterface *make(const QString &, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    const QVariant role = widget ? widget->property(RoleProperty) : QVariant();
    return role.isValid() ? new QAccessibleWidget(widget, QAccessible::Role(role.toInt())) : nullptr;
}

// Removed with the library that holds make().
struct Factory
{
    Factory() { QAccessible::installFactory(make); }
    ~Factory() { QAccessible::removeFactory(make); }
    Q_DISABLE_COPY(Factory)
};

} // namespace

void setRole(QWidget *widget, QAccessible::Role role)
{
    static const Factory factory;
    widget->setProperty(RoleProperty, int(role));
}

void announce(QWidget *widget)
{
    QAccessibleEvent event(widget, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace tarn::visualized::accessible
