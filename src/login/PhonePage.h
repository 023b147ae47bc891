#pragma once
#include "login/LoginPage.h"

namespace tarn::visualized {

/// The page of the sign-in dialog for phone number and one-time code. GUI thread.
class PhonePage final : public LoginPage
{
    Q_OBJECT
public:
    explicit PhonePage(QWidget *parent);

    bool canRequestCode() const;
    /// Enables or disables the button that requests a code.
    void allowCode(bool allowed);
    /// Shows how many seconds remain until a code may be requested again; 0: now.
    void showCountdown(int seconds);
    /// Shows that a sign-in is under way.
    void showBusy(bool busy);
    void focusCode();

signals:
    void codeRequested();

private:
    CCustomBtn *m_codeButton = nullptr;
};

} // namespace tarn::visualized
