#include "widgets/AlertRole.h"
#include <QAccessible>
#include <QAccessibleWidget>
#include <QVariant>

namespace alert {
namespace {

constexpr char IsAlert[] = "tarnAlert";

QAccessibleInterface *makeAlert(const QString &, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    if (!widget || !widget->property(IsAlert).toBool())
        return nullptr;
    return new QAccessibleWidget(widget, QAccessible::AlertMessage);
}

// Removed with the library that holds makeAlert().
struct Factory
{
    Factory() { QAccessible::installFactory(makeAlert); }
    ~Factory() { QAccessible::removeFactory(makeAlert); }
    Q_DISABLE_COPY(Factory)
};

} // namespace

void describe(QWidget *box, const QString &text)
{
    static const Factory factory;
    box->setProperty(IsAlert, true);
    box->setAccessibleDescription(text);
}

void announce(QWidget *box)
{
    QAccessibleEvent event(box, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace alert
