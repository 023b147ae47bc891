#pragma once
#include <QString>

class CCustomBtn;
class CCustomLineEdit;
class CIconEditWidget;
class QCheckBox;
class QVBoxLayout;
class QWidget;

/// Parts of the two pages of the sign-in dialog. The page owns them; names are object names. GUI thread.
namespace tarn::visualized::loginform {

/// The rules of the dialog's style sheet for the tabs.
QString sheet(const QWidget *w);

/// The page's empty column.
QVBoxLayout *makeColumn(QWidget *page);
/// A field with an icon in front; the name is the line edit's.
CIconEditWidget *makeField(const char *name, const QString &icon, const QString &placeholder, QWidget *page);
/// A button to the right of a field; all of them have one width. Blanks around the text are kept.
CCustomBtn *makeSideButton(const char *name, const QString &text, bool link, QWidget *page);
QCheckBox *makeCheckBox(const char *name, const QString &text, QWidget *page);
/// "立即登录"
CCustomBtn *makeLoginButton(const char *name, QWidget *page);

/// Adds a line of the page; either widget may be null.
void addRow(QVBoxLayout *column, QWidget *left, QWidget *right);
void addCheckBoxes(QVBoxLayout *column, QCheckBox *remember, QCheckBox *autoLogin);

/// Empties the fields of a window, overwrites their texts and leaves nothing to be undone.
void wipeFields(const QWidget *window);
/// Focuses the first empty field of a page, if there is one.
void focusEmptyField(const QWidget *page);

} // namespace tarn::visualized::loginform
