// The fake client library: the real assistants over a connection that leads to no service. See FakeClient.h.
#include "support/FakeClient.h"
#include "client/CloudAssistant.h"
#include "client/LicenseAssistant.h"
#include "client/MessageAssistant.h"
#include "client/UpgradeAssistant.h"
#include "tarn/client/IServiceAssistantManager.h"
#include <QMutex>
#include <QThread>
#include <QWaitCondition>

using namespace tarn;

namespace {

class Control final : public IFakeClient
{
public:
    void queue(const QString &operation, const FakeAnswer &answer) override
    {
        const QMutexLocker locker(&m_mutex);
        m_answers[operation].append(answer);
    }

    QList<FakeCall> calls() const override
    {
        const QMutexLocker locker(&m_mutex);
        return m_calls;
    }

    int hanging() const override
    {
        const QMutexLocker locker(&m_mutex);
        return m_hanging;
    }

    void releaseHangs() override
    {
        const QMutexLocker locker(&m_mutex);
        ++m_releases;
        m_released.wakeAll();
    }

    void setAvailable(bool available) override { m_available = available; }
    bool isAvailable() const { return m_available; }

    void reset() override
    {
        const QMutexLocker locker(&m_mutex);
        m_answers.clear();
        m_calls.clear();
        m_available = true;
    }

    // Records the call and waits as its answer says.
    FakeAnswer take(const FakeCall &call, int successCode)
    {
        QMutexLocker locker(&m_mutex);
        m_calls.append(call);
        FakeAnswer answer;
        answer.code = successCode;
        auto &queued = m_answers[call.operation];
        if (!queued.isEmpty())
            answer = queued.takeFirst();
        if (answer.hang) {
            ++m_hanging;
            for (const int seen = m_releases; m_releases == seen;)
                m_released.wait(&m_mutex);
            --m_hanging;
        }
        locker.unlock();
        if (answer.delayMs > 0)
            QThread::msleep(ulong(answer.delayMs));
        return answer;
    }

private:
    mutable QMutex m_mutex;
    QWaitCondition m_released;
    QHash<QString, QList<FakeAnswer>> m_answers;
    QList<FakeCall> m_calls;
    int m_hanging = 0;
    int m_releases = 0;
    std::atomic<bool> m_available{true};
};

Control &control()
{
    static Control instance;
    return instance;
}

// One of the real assistants; the beginning and the end of its use are calls too.
template <class Assistant>
class Recorded final : public Assistant
{
public:
    explicit Recorded(QString name)
        : m_name(std::move(name))
    {
    }
    bool Initialize(const QString &clientName, int flag, QString &errorText) override
    {
        Assistant::Initialize(clientName, flag, errorText);
        const QVariantMap values{{QStringLiteral("clientName"), clientName}, {QStringLiteral("flag"), flag}};
        return control().take({QStringLiteral("Initialize ") + m_name, values, {}}, 0).code == 0;
    }
    void UnInitialize() override
    {
        control().take({QStringLiteral("UnInitialize ") + m_name, {}, {}}, 0);
        control().releaseHangs();
    }

private:
    const QString m_name;
};

class Manager final : public IServiceAssistantManager
{
public:
    virtual ~Manager() = default;
    ILicenseServiceAssistant *GetLicenseServiceAssistant() override { return offered(&m_license); }
    ICloudServiceAssistant *GetCloudServiceAssistant() override { return offered(&m_cloud); }
    IMessageServiceAssistant *GetMessageServiceAssistant() override { return offered(&m_message); }
    IUpgradeServiceAssistant *GetUpgradeServiceAssistant() override { return offered(&m_upgrade); }
    void UnInitialize() override { control().take({QStringLiteral("UnInitialize manager"), {}, {}}, 0); }

private:
    template <class T>
    T *offered(T *assistant) const
    {
        return control().isAvailable() ? assistant : nullptr;
    }

    Recorded<client::LicenseAssistant> m_license{QStringLiteral("license")};
    Recorded<client::CloudAssistant> m_cloud{QStringLiteral("cloud")};
    Recorded<client::MessageAssistant> m_message{QStringLiteral("message")};
    Recorded<client::UpgradeAssistant> m_upgrade{QStringLiteral("upgrade")};
};

} // namespace

// The part of the RPC core that a connection needs.
namespace tarn::rpc {
Rpc::Rpc() = default;
Rpc::~Rpc() = default;
quint16 hubPort(QString *)
{
    return 1;
}
} // namespace tarn::rpc

namespace tarn::link {

ServiceConnection::~ServiceConnection() = default;
void ServiceConnection::open() {}
void ServiceConnection::close() {}

rpc::CallResult ServiceConnection::call(const QString &tag, const QString &method, const rpc::Bag &input, int, Late)
{
    const int successCode = tag == wire::CloudTag ? 4000 : tag == wire::MessageTag ? 2000 : 1000;
    const FakeAnswer answer = control().take({method, input.values, input.list}, successCode);
    return {{}, true, answer.code, answer.error, {answer.values, answer.list}};
}

rpc::CallResult callPaged(ServiceConnection &connection, const QString &tag, const QString &method,
                          const rpc::Bag &input, int limitMs)
{
    return connection.call(tag, method, input, limitMs);
}

} // namespace tarn::link

extern "C" Q_DECL_EXPORT IServiceAssistantManager *GetServiceAssistantManager()
{
    static Manager manager;
    return &manager;
}

extern "C" Q_DECL_EXPORT IFakeClient *fakeClient()
{
    return &control();
}
