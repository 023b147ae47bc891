#pragma once
#include "login/CodeSignIn.h"
#include <QWidget>

class CCustomBtn;
class CCustomLineEdit;
class QCheckBox;

namespace tarn::visualized {

/// The page of the sign-in dialog for phone number and one-time code. GUI thread.
class PhonePage final : public QWidget
{
    Q_OBJECT
public:
    explicit PhonePage(QWidget *parent = nullptr);

    CodeSignIn::Request request() const; ///< as entered; lockTip is not set
    void fill(const CodeSignIn::Request &remembered);
    void setRemember(bool on);
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
    void signInRequested();
    void automaticChanged(int state);

private:
    CCustomLineEdit *m_phone = nullptr;
    CCustomLineEdit *m_code = nullptr;
    CCustomBtn *m_codeButton = nullptr;
    QCheckBox *m_remember = nullptr;
    QCheckBox *m_automatic = nullptr;
    CCustomBtn *m_login = nullptr;
};

} // namespace tarn::visualized
