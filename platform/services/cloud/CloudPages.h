#pragma once
#include "services/cloud/LoopbackServer.h"
#include "services/cloud/QrTickets.h"

namespace tarn::services {

/// The web pages of the cloud account service: "/qr/TICKET" with the QR code, which follows the sign-in by a script or,
/// without scripts, by loading itself again; "/phone/TICKET", which represents the telephone; AccountPath, which
/// describes the account commands. Any thread.
inline const QString AccountPath = QStringLiteral("/account");
PageReply cloudPage(QrTickets &tickets, const PageRequest &request);

} // namespace tarn::services
