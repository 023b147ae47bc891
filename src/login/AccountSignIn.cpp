#include "login/AccountSignIn.h"
#include "tarn/keys/CloudKeys.h"
#include <QEventLoop>
#include <QtConcurrent>
#include <utility>

namespace tarn::visualized {
namespace {
namespace key = cloud::key;

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
    task.assistant->LoginByAccount(task.input, task.output);
    QString password = task.input->GetValue(key::Password).toString();
    task.input->SetValue(key::Password, QVariant());
    wipeText(&password);
    return servicecall::outcomeOf<ICloudServiceAssistant>(*task.output);
}
} // namespace

QPointer<AccountSignIn> AccountSignIn::s_current;
std::optional<ServiceOutcome> AccountSignIn::s_outcome;

AccountSignIn::AccountSignIn(ICloudServiceAssistant *assistant, ICloudServiceAssistant::Input input,
                             ICloudServiceAssistant::Output output)
{
    s_current = this;
    connect(&m_watcher, &QFutureWatcher<ServiceOutcome>::finished, this, &AccountSignIn::onFinished);
    const Task task{{}, assistant, std::move(input), std::move(output)};
    m_watcher.setFuture(QtConcurrent::run(&cloudcalls::pool(), [task] { return signIn(task); }));
}

AccountSignIn::~AccountSignIn()
{
    if (m_loop)
        m_loop->quit();
}

std::optional<ServiceOutcome> AccountSignIn::run(const SignInRequest &request)
{
    ICloudServiceAssistant *assistant = nullptr;
    ICloudServiceAssistant::Input input;
    ICloudServiceAssistant::Output output;
    if (const auto service = service::cloud()) { // not held during the event loop
        assistant = service.get();
        input = assistant->CreateInputArgs();
        output = assistant->CreateOutputArgs();
    }
    if (!input || !output)
        return ServiceOutcome{};
    servicecall::fill(*input, request.values(key::User, key::Password));
    s_outcome.reset();
    // Moved: this function may return after the library of these objects has been unloaded.
    ExecYunLogin(assistant, std::move(input), std::move(output));
    return std::exchange(s_outcome, {});
}

void AccountSignIn::wait()
{
    const QPointer<AccountSignIn> self(this);
    QEventLoop loop;
    m_loop = &loop;
    loop.exec();
    if (!self || !m_loop)
        return;
    m_loop = nullptr;
    if (m_watcher.isFinished()) // not when the application quits before the answer
        end();
}

void AccountSignIn::leave()
{
    m_left = true;
    if (!m_loop)
        return;
    m_loop->quit();
    m_loop = nullptr; // wait() may return much later: a modal box can run a loop above it
    if (m_watcher.isFinished())
        QMetaObject::invokeMethod(this, &AccountSignIn::end, Qt::QueuedConnection); // when answered() has a receiver
}

void AccountSignIn::onFinished()
{
    if (m_loop)
        m_loop->quit();
    else
        end();
}

void AccountSignIn::end()
{
    s_current.clear(); // before a receiver starts the next one
    deleteLater();
    if (m_left)
        emit answered(m_watcher.result());
    else
        s_outcome = m_watcher.result();
}

QString AccountSignIn::conclude(const QString &account, const ServiceOutcome &outcome)
{
    if (outcome.accepted()) {
        VT_LOG(info) << QStringLiteral("用户%1登录成功").arg(account);
        return {};
    }
    if (outcome.code == cloud::code::LockRefused) {
        VT_LOG(critical) << QStringLiteral("【账号密码登录】云锁登录失败。");
        return outcome.error.isEmpty() ? QStringLiteral("登录失败") : outcome.error;
    }
    const QString error = outcome.transportFailed() ? outcome.error : outcome.error.trimmed();
    VT_LOG(critical) << QStringLiteral("【账号密码登录】登录失败，返回错误码为：%1，错误信息为：%2")
                            .arg(QString::number(outcome.code), error);
    if (outcome.transportFailed())
        return QStringLiteral("发生通信错误");
    return error.isEmpty() ? QStringLiteral("登录失败") : error;
}

} // namespace tarn::visualized

void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output)
{
    using tarn::visualized::AccountSignIn;
    if (!assistant || !input || !output || AccountSignIn::current())
        return;
    auto *attempt = new AccountSignIn(assistant, std::move(input), std::move(output)); // deletes itself
    attempt->wait();
}
