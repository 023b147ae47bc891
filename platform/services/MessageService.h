#pragma once
#include "services/Dispatch.h"
#include "services/Message.h"
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

    rpc::CallResult addReceipt(const rpc::Bag &input);
    rpc::CallResult updateStatus(const rpc::Bag &input);
    rpc::CallResult allRecords(const rpc::Bag &input);
    rpc::CallResult oneRecord(const rpc::Bag &input);
    rpc::CallResult ignore(const rpc::Bag &input);
    rpc::CallResult push(const rpc::Bag &input);
    rpc::CallResult importAll(const rpc::Bag &input);
    rpc::CallResult list(const rpc::Bag &input);
    rpc::CallResult unreadCount(const rpc::Bag &input);
    rpc::CallResult clear(const rpc::Bag &input);
    rpc::CallResult page(MessageStore::Kind kind, const rpc::Bag &input);
    QString present(const Message &message, int unread);

    /// Runs work on the store's thread. @return the error, empty on success
    QString store(const std::function<QString(MessageStore &)> &work);

    const Presenter m_presenter;
    WorkThread m_thread;
    std::unique_ptr<MessageStore> m_store; ///< belongs to m_thread
};

} // namespace tarn::services
