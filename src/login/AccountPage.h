#pragma once
#include "login/AccountSignIn.h"
#include <QWidget>

class CCustomLineEdit;
class CIconEditWidget;
class QCheckBox;

namespace tarn::visualized {

/// The page of the sign-in dialog for account and password. GUI thread.
class AccountPage final : public QWidget
{
    Q_OBJECT
public:
    explicit AccountPage(QWidget *parent = nullptr);

    AccountSignIn::Request request() const; ///< as entered; lockTip is not set
    void fill(const AccountSignIn::Request &remembered);
    void setRemember(bool on);
    bool showsPassword() const;
    void showPassword(bool show);

signals:
    void signInRequested();
    void registerRequested();
    void forgetRequested();
    void eyeClicked();
    void automaticChanged(int state);

private:
    CCustomLineEdit *m_account = nullptr;
    CIconEditWidget *m_passwordField = nullptr;
    CCustomLineEdit *m_password = nullptr;
    QCheckBox *m_remember = nullptr;
    QCheckBox *m_automatic = nullptr;
};

} // namespace tarn::visualized
