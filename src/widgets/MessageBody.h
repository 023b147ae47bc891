#pragma once

#include <QString>

class CCustomBtn;
class CustomTitleBar;
class QDialog;
class QLabel;
class QScrollArea;
class QVBoxLayout;
class QWidget;

/// What CustomMessageBox and QuestionMessageBox are made of: bands in the box's column.
/// GUI thread; everything belongs to the box.
namespace messagebody {

/// The rules for everything below, to be joined to the box's own. Set the sheet when all parts are there and named: rules
/// are remembered by whatever asks for a size before.
QString sheet(const QWidget *box);
/// Frameless, modal to its window, named; returns the empty column.
QVBoxLayout *makeColumn(QDialog *box, const QString &title);
/// Puts the title bar on top. Called after the other bands, since the order of making is the order of Tab and the close
/// button comes last.
CustomTitleBar *addTitleBar(QDialog *box, const QString &title);
/// The icon and the text in its scroll area. Sets the area's minimum height, and for a very long text the box's height.
/// @return the label, for its linkActivated()
QLabel *addText(QDialog *box, const QString &icon, const QString &iconName, const QString &text);
/// The band for the buttons; the boxes put them in with addButton().
QWidget *addButtonBand(QDialog *box);
CCustomBtn *addButton(QWidget *band, const QString &text, bool confirming);

/// The size; called last, when the parts and the sheet are there.
void finish(QDialog *box);

/// Opens a link of a message in the desktop's browser; anything but a web or mail address is refused with a log line.
void openLink(const QString &link);

} // namespace messagebody
