#pragma once
#include "services/Dispatch.h"
#include "services/MessageStore.h"
#include "services/WorkThread.h"
#include "tarn/rpc/IInvocable.h"
#include <functional>
#include <memory>

namespace tarn::services {

/// The message service as remote callers see it: checks and stores their messages, and has the visualized service show
/// a pushed one. Methods: those of IMessageServiceAssistant and of tarn/link/MessageWire.h. RPC worker threads.
class MessageService final : public rpc::IInvocable
{
public:
    /// Calls ShowNotifyMessage of the visualized service with these keys.
    using Presenter = std::function<rpc::CallResult(const rpc::Bag &)>;

    /// @param directory where the database is kept
    MessageService(const QString &directory, Presenter presenter);
    ~MessageService() override;
    Q_DISABLE_COPY(MessageService)

    rpc::CallResult invoke(const QString &method, const rpc::Bag &input, const rpc::ICallContext &context) override;

private:
    static const HandlerTable<MessageService> &handlers();

    rpc::CallResult addReceipt(const Request &request);
    rpc::CallResult updateStatus(const Request &request);
    rpc::CallResult allRecords(const Request &request);
    rpc::CallResult oneRecord(const Request &request);
    rpc::CallResult ignore(const Request &request);
    rpc::CallResult push(const Request &request);
    rpc::CallResult importAll(const Request &request);
    rpc::CallResult list(const Request &request);
    rpc::CallResult unreadCount(const Request &request);
    rpc::CallResult clear(const Request &request);
    rpc::CallResult page(MessageStore::Kind kind, const Request &request);
    QString present(const QVariantMap &message, int unread) const;

    const Presenter m_presenter;
    WorkThread m_thread;
    std::unique_ptr<MessageStore> m_store; ///< belongs to m_thread
};

} // namespace tarn::services
