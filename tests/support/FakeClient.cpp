// The fake client library: the real assistants over a connection that leads to no service. See FakeClient.h.
#include "support/FakeClient.h"
#include "client/Assistants.h"
#include "tarn/client/IServiceAssistantManager.h"

using namespace tarn;

namespace {

FakeControl &control()
{
    static FakeControl instance;
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

rpc::CallResult ServiceConnection::callPaged(const QString &tag, const QString &method, const rpc::Bag &input,
                                             int limitMs)
{
    return call(tag, method, input, limitMs);
}

} // namespace tarn::link

extern "C" Q_DECL_EXPORT IServiceAssistantManager *GetServiceAssistantManager()
{
    static Manager manager;
    return &manager;
}

extern "C" Q_DECL_EXPORT FakeControl *fakeClient()
{
    return &control();
}
