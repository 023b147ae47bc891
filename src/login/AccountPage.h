#pragma once
#include "login/LoginPage.h"

namespace tarn::visualized {

/// The page of the sign-in dialog for account and password. GUI thread.
class AccountPage final : public LoginPage
{
    Q_OBJECT
public:
    explicit AccountPage(QWidget *parent);

    bool showsPassword() const;
    void showPassword(bool show);

signals:
    void registerRequested();
    void forgetRequested();
    void eyeClicked();
};

} // namespace tarn::visualized
