#pragma once
#include "widgets/CustomMessageBox.h"
#include "widgets/ToolDialog.h"
#include <QPointer>
#include <QTimer>
#include <memory>

class CCustomBtn;
class CustomTitleBar;
class QTabWidget;

namespace tarn::visualized {

class LoginPage;
class WaitNotice;

/// The sign-in dialog without the sign-ins: its parts, its tips, and how it waits. GUI thread.
class LoginWindow : public ToolDialog
{
    Q_OBJECT
public:
    ~LoginWindow() override;

    /// Shows a message box over this dialog, which can be destroyed when the function returns. A dialog that has been
    /// closed shows none.
    void showLoginTip(const QString &text, eTipStatus status);
    /// Focuses the first empty field of the current page, for a user who has just asked for the sign-in.
    void focusEmptyField();

protected:
    explicit LoginWindow(QWidget *parent);
    void build(); ///< called first in the most derived class

    LoginPage *currentPage() const;
    void showPassword(bool show);
    /// Shows the dialog if it is hidden, and a tip for a user who is in the browser or in another program.
    void showAgain(const QString &tip);

    bool isWaiting() const { return m_waiting; }
    void beginWaiting(); ///< disabled, under the wait cursor; offers to cancel after two seconds
    void endWaiting();
    /// Offers to cancel a wait: over the dialog, or while that is hidden.
    void showNotice(const QString &text, bool overDialog);
    void hideNotice();
    virtual void cancelWait() = 0; ///< by the user, in the notice

    void showEvent(QShowEvent *event) override;

    CustomTitleBar *m_bar = nullptr;
    QTabWidget *m_tabs = nullptr;
    LoginPage *m_accountPage = nullptr;
    CCustomBtn *m_register = nullptr;
    CCustomBtn *m_forget = nullptr;
    LoginPage *m_phonePage = nullptr;
    CCustomBtn *m_codeButton = nullptr;
    CCustomBtn *m_weixin = nullptr;
    CCustomBtn *m_qq = nullptr;
    bool m_closed = false; ///< and about to be deleted

private:
    void InitTitleBar(QVBoxLayout *column);
    void InitLoginTypeTab();
    void InitAccountLogin();
    void InitVerificationTab();
    QLayout *InitQuickLogin(); ///< the sign-ins by QR code
    void showTip(const QString &text, eTipStatus status, eBoxOrigin origin);

    bool m_waiting = false;
    QPointer<QWidget> m_focusBefore;      ///< the focus when the wait began
    QTimer m_slow{this};                  ///< runs until a wait is long enough for a notice
    std::unique_ptr<WaitNotice> m_notice; ///< of the last wait; hidden when that has ended
};

} // namespace tarn::visualized
