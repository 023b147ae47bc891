#include "login/AccountCall.h"
#include "login/CloudCalls.h"
#include "login/WipeText.h"
#include "tarn/keys/CloudKeys.h"
#include <QEventLoop>
#include <QPointer>
#include <QtConcurrent>

namespace tarn::visualized {
namespace {
/// Everything that the call needs. The lease is destroyed last: the argument objects belong to the client library.
struct Task
{
    ServiceLease lease;
    ICloudServiceAssistant *assistant;
    ICloudServiceAssistant::Input input;
    ICloudServiceAssistant::Output output;
};

ServiceOutcome signIn(const Task &task)
{
    namespace key = cloud::key;
    task.assistant->LoginByAccount(task.input, task.output);
    QString password = task.input->GetValue(key::Password).toString();
    task.input->SetValue(key::Password, QVariant());
    wipeText(&password);
    return cloudcalls::outcomeOf(*task.output);
}
} // namespace

AccountCall *AccountCall::s_current = nullptr;

AccountCall::AccountCall(ICloudServiceAssistant *assistant, ICloudServiceAssistant::Input input,
                         ICloudServiceAssistant::Output output)
{
    s_current = this;
    connect(&m_watcher, &QFutureWatcher<ServiceOutcome>::finished, this, &AccountCall::onFinished);
    const Task task{{}, assistant, std::move(input), std::move(output)};
    m_watcher.setFuture(QtConcurrent::run(&cloudcalls::pool(), [task] { return signIn(task); }));
}

AccountCall::~AccountCall()
{
    s_current = nullptr;
    if (m_loop)
        m_loop->quit();
}

void AccountCall::wait()
{
    const QPointer<AccountCall> self(this);
    QEventLoop loop;
    m_loop = &loop;
    loop.exec();
    if (!self)
        return;
    m_loop = nullptr;
    if (m_left)
        return;
    if (m_watcher.future().isFinished()) // the watcher itself learns of it by an event
        delete this;
    else
        m_left = true; // the application quits
}

void AccountCall::leave()
{
    m_left = true;
    if (m_loop)
        m_loop->quit();
    if (m_heard) // the loop was about to return with the answer
        QMetaObject::invokeMethod(this, &AccountCall::onFinished, Qt::QueuedConnection);
}

void AccountCall::onFinished()
{
    m_heard = true;
    if (!m_left) {
        m_loop->quit();
        return;
    }
    s_current = nullptr; // before a receiver starts the next one
    deleteLater();
    emit answered(m_watcher.result());
}

} // namespace tarn::visualized

void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output)
{
    using tarn::visualized::AccountCall;
    if (!assistant || !input || !output || AccountCall::current())
        return;
    auto *call = new AccountCall(assistant, std::move(input), std::move(output)); // deletes itself
    call->wait();
}
