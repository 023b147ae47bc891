#pragma once
#include "frame/VisualizedEvents.h"
#include "frame/VisualizedManager.h"
#include "login/CloudCalls.h"
#include "login/QueryQRCodeResult.h"
#include "login/WaitNotice.h"
#include "login/YunLoginDlg.h"
#include "support/Args.h"
#include "support/FakeClient.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "widgets/CustomLineEdit.h"
#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QThreadPool>
#include <atomic>
#include <functional>
#include <memory>

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

inline void press(const QWidget *dialog, const char *name)
{
    QTest::mouseClick(button(dialog, name), Qt::LeftButton);
}

inline void fill(const QWidget *dialog, const QString &account, const QString &password, const QString &phone = {},
                 const QString &code = {})
{
    edit(dialog, "accountEdit")->setText(account);
    edit(dialog, "passwordEdit")->setText(password);
    edit(dialog, "phoneEdit")->setText(phone);
    edit(dialog, "codeEdit")->setText(code);
    dialog->findChild<QTabWidget *>()->setCurrentIndex(phone.isEmpty() ? 0 : 1);
}

// The calls of one operation, in order.
inline QList<QVariantMap> calls(const QString &operation)
{
    QList<QVariantMap> found;
    for (const FakeCall &call : FakeClient::fake().calls()) {
        if (call.operation == operation)
            found << call.values;
    }
    return found;
}

inline void sendToManager(CVisualizedEvents *event)
{
    const std::unique_ptr<CVisualizedEvents> owner(event);
    QCoreApplication::sendEvent(CVisualizedManager::GetInstance(), event);
}

// A request for a sign-in, by a software.
inline void ask(const QSharedPointer<ICloudLoginNotify> &notify, const QString &softId = QStringLiteral("cad"))
{
    const auto input = args::input<args::CloudIn>({{"软件标识", softId}, {"EXE名称", "cad"}});
    sendToManager(new CVisualizedEvents(CVisualizedEvents::eShowCloudLoginDialog,
                                        new CCloudLoginEventData(input, notify, false, 0)));
}

// A window of a class, also a closing one; null when there is none.
template <class Window>
Window *window()
{
    const QWidgetList all = QApplication::topLevelWidgets();
    for (QWidget *widget : all) {
        if (auto *found = qobject_cast<Window *>(widget))
            return found;
    }
    return nullptr;
}

// The notice of a wait while it is visible; otherwise null.
inline QWidget *notice()
{
    QWidget *found = window<tarn::visualized::WaitNotice>();
    return found && found->isVisible() ? found : nullptr;
}

// Until every call has come back, its outcome has been noticed and the callers have been notified.
inline void settle()
{
    tarn::visualized::cloudcalls::pool().waitForDone();
    QCoreApplication::processEvents();
    tarn::visualized::cloudcalls::pool().waitForDone();
}

inline void processDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

} // namespace login
