#pragma once

#include <QString>

class QWidget;

/// Message boxes for screen readers: role "alert", the title as name, the text as description.
namespace alert {

/// Gives the box its role and its text; called in the constructor of a class named in AlertRole.cpp.
void describe(QWidget *box, const QString &text);
/// Tells screen readers that the box has come up; called from showEvent().
void announce(QWidget *box);

} // namespace alert
