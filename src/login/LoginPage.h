#pragma once
#include "login/CloudCalls.h"
#include "widgets/CustomBtn.h"

class CCustomLineEdit;
class CIconEditWidget;
class QCheckBox;
class QHBoxLayout;

namespace tarn::visualized {

/// One of the two pages of the sign-in dialog: two fields, each with room for a button beside it, two check boxes and the
/// button "立即登录". Return in the first field moves to the second one; there it requests the sign-in. GUI thread.
class LoginPage final : public QWidget
{
    Q_OBJECT
public:
    struct Field
    {
        const char *name; ///< object name of the line edit
        QString icon;
        QString placeholder;
    };
    struct Names
    {
        const char *remember;
        QString rememberText;
        const char *automatic;
        const char *login;
    };

    LoginPage(const Field &user, const Field &secret, const Names &names, QWidget *parent);

    QHBoxLayout *userRow() const { return m_userRow; }
    QHBoxLayout *secretRow() const { return m_secretRow; }
    CCustomLineEdit *userEdit() const { return m_user; }
    CCustomLineEdit *secretEdit() const { return m_secret; }
    CIconEditWidget *secretField() const { return m_secretField; }
    CCustomBtn *loginButton() const { return m_login; }
    /// Adds a button to a row; all of them have one width. Blanks around the text are kept.
    CCustomBtn *addSideButton(QHBoxLayout *row, const char *name, const QString &text, CCustomBtn::Tone tone);

    SignInRequest request(bool lockTip = false) const; ///< as entered; shares no text with the field of the secret
    void fill(const SignInRequest &remembered);
    /// Sets the remember box to the state of the automatic box.
    /// @param state Qt::CheckState; a partial one changes nothing
    void followAutomatic(int state);
    /// Focuses the first empty field, if there is one.
    void focusEmptyField();
    /// Empties the fields, overwrites their texts and leaves nothing to be undone.
    void wipe();

signals:
    /// Emitted from its own event after a field has handled Return, since the sign-in can destroy the field.
    void signInRequested();
    void automaticChanged(int state);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    CIconEditWidget *makeField(const Field &field, QHBoxLayout *row);
    QCheckBox *makeCheckBox(const char *name, const QString &text);
    void wire();

    QHBoxLayout *const m_userRow;
    QHBoxLayout *const m_secretRow;
    CIconEditWidget *m_secretField = nullptr;
    CCustomLineEdit *m_user = nullptr;
    CCustomLineEdit *m_secret = nullptr;
    CCustomBtn *m_login = nullptr;
    QCheckBox *m_remember = nullptr;
    QCheckBox *m_automatic = nullptr;
};

} // namespace tarn::visualized
