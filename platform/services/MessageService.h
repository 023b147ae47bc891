#pragma once
#include "services/Dispatch.h"

namespace tarn::services {

/// The message service as remote callers see it: checks and stores their messages, and has the visualized service show
/// a pushed one. Methods: those of IMessageServiceAssistant and of tarn/link/MessageWire.h. RPC worker threads.
///
/// A new delivery of a known id replaces its texts and is unread again; its receipts stay, and so does the user's wish
/// not to see it. Lists come newest first and in pages, each small enough for one message of the RPC layer. Nothing is
/// kept between two pages: a message that stays unchanged meanwhile is in exactly one of them.
/// @param directory where the database "messages.db" is kept
QSharedPointer<rpc::IInvocable> makeMessageService(const QString &directory, const Presenter &presenter);

} // namespace tarn::services
