#include "login/ExecYunLogin.h"
#include "frame/VtServiceClient.h"
#include "login/CloudCalls.h"
#include "login/SecretText.h"
#include "tarn/keys/CloudKeys.h"
#include <QEventLoop>
#include <QFutureWatcher>
#include <QThreadPool>
#include <QtConcurrent>
#include <memory>
#include <utility>

namespace key = tarn::cloud::key;

namespace {
/// Everything that the call needs, alive until the thread has left it. The lease goes last: the argument objects are
/// the client library's.
struct Call
{
    CVtServiceClient::Lease lease;
    QSharedPointer<ICloudService_InputArgs> input;
    QSharedPointer<ICloudService_OutputArgs> output;
};

/// One that waits for its call.
struct Wait
{
    QEventLoop loop;
    bool abandoned = false;
};

Wait *innermost = nullptr; // GUI thread

void signIn(ICloudServiceAssistant &assistant, const Call &call)
{
    assistant.LoginByAccount(call.input, call.output);
    QString password = call.input->GetValue(key::Password).toString();
    call.input->SetValue(key::Password, QVariant());
    SecretText::wipe(&password);
}
} // namespace

void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output)
{
    if (!assistant || !input || !output)
        return;
    auto call = std::make_shared<Call>();
    call->input = std::move(input); // the thread's alone: the library may be unloaded under the loop
    call->output = std::move(output);
    Wait wait;
    QFutureWatcher<void> watcher;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &wait.loop, &QEventLoop::quit);
    watcher.setFuture(QtConcurrent::run(&cloudcalls::pool(), [assistant, call] { signIn(*assistant, *call); }));
    call.reset();
    Wait *outer = std::exchange(innermost, &wait);
    wait.loop.exec();
    innermost = outer;
    // Asked of the future: the watcher learns of the end by an event, which a loop that ends early does not deliver.
    if (wait.abandoned || watcher.future().isFinished())
        return;
    // The application quits. The call must not write into output any more, and nobody will ask this service again.
    assistant->UnInitialize();
    watcher.waitForFinished();
}

void AbandonYunLogin()
{
    if (!innermost)
        return;
    innermost->abandoned = true;
    innermost->loop.quit();
}
