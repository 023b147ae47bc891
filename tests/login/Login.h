#pragma once
#include "login/CloudCalls.h"
#include "login/WaitNotice.h"
#include "login/YunLoginDlg.h"
#include "support/BoxScript.h"
#include "support/FakeClient.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "upgrade/Requests.h"
#include "widgets/CustomLineEdit.h"
#include <QCheckBox>
#include <QTabWidget>
#include <QThreadPool>
#include <atomic>

// Drives the sign-in dialog over a faked service.
namespace login {

struct Notify final : ICloudLoginNotify
{
    void AfterLogin() override
    {
        if (act)
            act();
        ++calls;
    }
    std::atomic<int> calls{0};
    std::function<void()> act; // on the calling thread
};

template <class Child>
Child *child(const QWidget *dialog, const char *name)
{
    return dialog->findChild<Child *>(QLatin1String(name));
}
constexpr auto edit = child<CCustomLineEdit>;
constexpr auto button = child<QPushButton>;
constexpr auto box = child<QCheckBox>;

inline void fill(const QWidget *dialog, const QString &account, const QString &password, const QString &phone = {},
                 const QString &code = {})
{
    edit(dialog, "accountEdit")->setText(account);
    edit(dialog, "passwordEdit")->setText(password);
    edit(dialog, "phoneEdit")->setText(phone);
    edit(dialog, "codeEdit")->setText(code);
    dialog->findChild<QTabWidget *>()->setCurrentIndex(phone.isEmpty() ? 0 : 1);
}

// A request for a sign-in, by a software.
inline void ask(const QSharedPointer<ICloudLoginNotify> &notify, const QString &softId = QStringLiteral("cad"))
{
    const auto input = args::input<args::CloudIn>({{"软件标识", softId}, {"EXE名称", "cad"}});
    request::send(CVisualizedEvents::eShowCloudLoginDialog, new CCloudLoginEventData(input, notify, false, 0));
}

// The notice of a wait while it is visible; otherwise null.
inline QWidget *notice()
{
    QWidget *found = request::onlyWindow<tarn::visualized::WaitNotice>();
    return found && found->isVisible() ? found : nullptr;
}

// Until every call has come back, its outcome has been noticed and the callers have been notified.
inline void settle()
{
    tarn::visualized::cloudcalls::pool().waitForDone();
    QCoreApplication::processEvents();
    tarn::visualized::cloudcalls::pool().waitForDone();
}

} // namespace login
