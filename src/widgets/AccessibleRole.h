#pragma once

#include <QAccessible>

class QWidget;

/// Roles that Qt gives no widget by itself. GUI thread.
namespace tarn::visualized::accessible {

/// Makes screen readers see the widget in this role, e.g. QAccessible::AlertMessage. Called before they can have asked for
/// it: in its constructor.
void setRole(QWidget *widget, QAccessible::Role role);
/// Reports an alert, from showEvent(): screen readers speak the window although it may not have the focus.
void announce(QWidget *widget);

} // namespace tarn::visualized::accessible
