#pragma once
#include <QString>

class CCustomBtn;
class CCustomLineEdit;
class CIconEditWidget;
class QCheckBox;
class QVBoxLayout;
class QWidget;

/// What the two pages of the sign-in dialog are made of. Everything belongs to the page; names are object names. GUI
/// thread.
namespace loginform {

/// The rules for everything below and for the tabs, to be joined to the dialog's own.
QString sheet(const QWidget *w);

/// The page's empty column.
QVBoxLayout *makeColumn(QWidget *page);
/// A field with an icon in front; the name is the line edit's.
CIconEditWidget *makeField(const char *name, const QString &icon, const QString &placeholder, QWidget *page);
/// A button that stands right of a field, as wide as all of them; lone blanks around its text are part of it.
CCustomBtn *makeSideButton(const char *name, const QString &text, bool link, QWidget *page);
QCheckBox *makeCheckBox(const char *name, const QString &text, QWidget *page);
/// "立即登录"
CCustomBtn *makeLoginButton(const char *name, QWidget *page);

/// Adds a line of the page; either widget may be null.
void addRow(QVBoxLayout *column, QWidget *left, QWidget *right);
void addCheckBoxes(QVBoxLayout *column, QCheckBox *remember, QCheckBox *autoLogin);

} // namespace loginform
