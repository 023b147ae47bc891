// The fake client library; see FakeClient.h.
#include "support/FakeClient.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/core/BagArgs.h"
#include "tarn/license/ILicenseServiceAssistant.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include <QMutex>
#include <QStringList>
#include <QThread>
#include <QWaitCondition>
#include <atomic>

using namespace tarn::core;

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

    QStringList operations() const override
    {
        QStringList result;
        for (const FakeCall &call : calls())
            result.append(call.operation);
        return result;
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

// What the four have in common. Args: type of the objects that CreateInput makes.
template <class Interface>
class Assistant : public Interface
{
public:
    explicit Assistant(QString name, int successCode)
        : m_name(std::move(name))
        , m_successCode(successCode)
    {
    }
    virtual ~Assistant() = default;

    bool Initialize(const QString &clientName, int flag, QString &errorText) override
    {
        const FakeAnswer answer = control().take({QStringLiteral("Initialize ") + m_name,
                                                  {{QStringLiteral("clientName"), clientName},
                                                   {QStringLiteral("flag"), flag},
                                                   {QStringLiteral("errorText"), errorText}},
                                                  {}},
                                                 0);
        return answer.code == 0;
    }

    void UnInitialize() override
    {
        control().take({QStringLiteral("UnInitialize ") + m_name, {}, {}}, 0);
        control().releaseHangs();
    }

protected:
    template <class Concrete, class Input, class Output>
    void run(const char *operation, const Input &input, const Output &output)
    {
        const auto *args = dynamic_cast<const Concrete *>(input.data());
        const tarn::rpc::Bag bag = args ? args->bag() : tarn::rpc::Bag();
        const FakeAnswer answer = control().take({QString::fromLatin1(operation), bag.values, bag.list}, m_successCode);
        for (auto it = answer.values.cbegin(); it != answer.values.cend(); ++it)
            output->SetValue(it.key(), it.value());
        output->SetValueList(answer.list);
        output->SetError(answer.error);
        output->SetRetCode(answer.code);
    }

private:
    QString m_name;
    int m_successCode;
};

class License final : public Assistant<ILicenseServiceAssistant>
{
public:
    using Assistant::Assistant;
    QSharedPointer<ILicenseService_InputArgs> CreateInputArgs() override
    {
        return QSharedPointer<InputArgs<ILicenseService_InputArgs>>::create();
    }
    QSharedPointer<ILicenseService_OutputArgs> CreateOutputArgs() override
    {
        return QSharedPointer<OutputArgs<ILicenseService_OutputArgs>>::create();
    }
};

class Cloud final : public Assistant<ICloudServiceAssistant>
{
public:
    using Assistant::Assistant;
    using Args = InputArgs<ICloudService_InputArgs>;
    Input CreateInputArgs() override { return QSharedPointer<Args>::create(); }
    Output CreateOutputArgs() override { return QSharedPointer<OutputArgs<ICloudService_OutputArgs>>::create(); }
    void GetLoginState(Input in, Output out) override { run<Args>(__func__, in, out); }
    void GetMemoryLoginInfo(Input in, Output out) override { run<Args>(__func__, in, out); }
    void SendVerificationCode(Input in, Output out) override { run<Args>(__func__, in, out); }
    void LoginByPhone(Input in, Output out) override { run<Args>(__func__, in, out); }
    void LoginByAccount(Input in, Output out) override { run<Args>(__func__, in, out); }
    void GetQRCodeUrl(Input in, Output out) override { run<Args>(__func__, in, out); }
    void QueryQRCodeResult(Input in, Output out) override { run<Args>(__func__, in, out); }
    void GetLinkAddress(Input in, Output out) override { run<Args>(__func__, in, out); }
    void Logout(Input in, Output out) override { run<Args>(__func__, in, out); }
};

class Message final : public Assistant<IMessageServiceAssistant>
{
public:
    using Assistant::Assistant;
    using Args = InputArgs<IMessageService_InputArgs>;
    void AddMessageReceipt(Input in, Output out) override { run<Args>(__func__, in, out); }
    void UpdateMessageStatus(Input in, Output out) override { run<Args>(__func__, in, out); }
    void GetAllMessageRecords(Input in, Output out) override { run<Args>(__func__, in, out); }
    void GetMessageRecord(Input in, Output out) override { run<Args>(__func__, in, out); }
    Input CreateInputArgs() override { return QSharedPointer<Args>::create(); }
    Output CreateOutputArgs() override { return QSharedPointer<OutputArgs<IMessageService_OutputArgs>>::create(); }
    void IgnoreMessage(Input in, Output out) override { run<Args>(__func__, in, out); }
};

class Upgrade final : public Assistant<IUpgradeServiceAssistant>
{
public:
    using Assistant::Assistant;
    using SoftArgs = InputListArgs<IUpgaredSoftInfoService_InputParam>;
    using Args = InputArgs<IUpgaredService_InputParam>;
    SoftInfoInput CreateSoftInfoInputParam() override { return QSharedPointer<SoftArgs>::create(); }
    SoftInfoOutput CreateSoftInfoOutputParam() override
    {
        return QSharedPointer<OutputArgs<IUpgaredSoftInfoService_OutputParam>>::create();
    }
    Input CreateInputParam() override { return QSharedPointer<Args>::create(); }
    Output CreateOutputParam() override { return QSharedPointer<OutputArgs<IUpgaredService_OutputParam>>::create(); }
    void CheckNewVersion(SoftInfoInput in, SoftInfoOutput out) override { run<SoftArgs>(__func__, in, out); }
    void IgnoreUpgrade(SoftInfoInput in, SoftInfoOutput out) override { run<SoftArgs>(__func__, in, out); }
    void StartDownload(SoftInfoInput in, SoftInfoOutput out) override { run<SoftArgs>(__func__, in, out); }
    void QueryTaskInfos(Input in, Output out) override { run<Args>(__func__, in, out); }
    void StopUpgrade(Input in, Output out) override { run<Args>(__func__, in, out); }
    void InstallSoftware(Input in, Output out) override { run<Args>(__func__, in, out); }
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

    License m_license{QStringLiteral("license"), 0};
    Cloud m_cloud{QStringLiteral("cloud"), 4000};
    Message m_message{QStringLiteral("message"), 2000};
    Upgrade m_upgrade{QStringLiteral("upgrade"), 1000};
};

} // namespace

extern "C" Q_DECL_EXPORT IServiceAssistantManager *GetServiceAssistantManager()
{
    static Manager manager;
    return &manager;
}

extern "C" Q_DECL_EXPORT IFakeClient *fakeClient()
{
    return &control();
}
