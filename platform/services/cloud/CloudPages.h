#pragma once
#include "services/cloud/LoopbackServer.h"
#include "services/cloud/QrTickets.h"

namespace tarn::services {

/// The web pages of the cloud account service: "/qr/TICKET" with the QR code, which follows the sign-in by a script or,
/// without scripts, by loading itself again; "/phone/TICKET", which represents the telephone; "/register",
/// "/password" and "/account", which describe the account commands. Any thread.
class CloudPages
{
public:
    explicit CloudPages(QrTickets *tickets);

    PageReply answer(const PageRequest &request) const;

private:
    PageReply qrPage(const QString &ticket, const QString &serverAddress) const;
    PageReply statePage(const QString &ticket) const;
    PageReply phonePage(const QString &ticket, bool isSeen) const;
    PageReply decide(const QString &ticket, const QByteArray &form) const;

    QrTickets *const m_tickets;
};

} // namespace tarn::services
