#pragma once

#include <QString>

class CCustomBtn;
class CustomTitleBar;
class QDialog;
class QLabel;
class QScrollArea;
class QVBoxLayout;
class QWidget;

/// What CustomMessageBox and QuestionMessageBox are made of. Each call adds one band to the box's column, from the top.
/// GUI thread; everything belongs to the box.
namespace messagebody {

/// The rules for everything below, to be joined to the box's own. Set the sheet when all parts are there and named: rules
/// are remembered by whatever asks for a size before.
QString sheet(const QWidget *box);
/// Frameless, modal to its window, named; returns the empty column.
QVBoxLayout *makeColumn(QDialog *box, const QString &title);
CustomTitleBar *addTitleBar(QDialog *box, const QString &title);
/// The icon and the text in its scroll area. Sets the area's minimum height, and for a very long text the box's height.
/// @return the label, for its linkActivated()
QLabel *addText(QDialog *box, const QString &icon, const QString &iconName, const QString &text);
/// The band for the buttons; the boxes put them in with addButton().
QWidget *addButtonBand(QDialog *box);
CCustomBtn *addButton(QWidget *band, const QString &text, bool confirming);

/// Tab order (text, buttons, title bar) and size; called last, when the parts and the sheet are there.
void finish(QDialog *box);

/// Opens a link of a message in the desktop's browser; anything but a web or mail address is refused with a log line.
void openLink(const QString &link);

} // namespace messagebody
