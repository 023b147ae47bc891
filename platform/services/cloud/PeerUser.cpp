#include "services/cloud/PeerUser.h"
#include <QScopeGuard>
#include <cstring>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarn::services {

namespace {

constexpr __u8 Established = 1; // the kernel's TCP_ESTABLISHED

struct Request
{
    nlmsghdr header;
    inet_diag_req_v2 query;
};

struct Answer
{
    nlmsghdr header;
    inet_diag_msg found;
    char attributes[512];
};

// The peer's own end of the connection: its address comes first.
Request requestFor(const sockaddr_in &from, const sockaddr_in &to)
{
    Request request = {};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.query.sdiag_family = AF_INET;
    request.query.sdiag_protocol = IPPROTO_TCP;
    request.query.idiag_states = ~0U;
    request.query.id.idiag_sport = from.sin_port;
    request.query.id.idiag_dport = to.sin_port;
    request.query.id.idiag_src[0] = from.sin_addr.s_addr;
    request.query.id.idiag_dst[0] = to.sin_addr.s_addr;
    request.query.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
    request.query.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    return request;
}

} // namespace

std::optional<uid_t> userOfPeer(const sockaddr_in &from, const sockaddr_in &to)
{
    const int descriptor = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (descriptor < 0)
        return std::nullopt;
    const auto closing = qScopeGuard([descriptor] { ::close(descriptor); });
    const Request request = requestFor(from, to);
    Answer answer = {};
    if (::send(descriptor, &request, sizeof request, 0) != ssize_t{sizeof request})
        return std::nullopt;
    const ssize_t size = ::recv(descriptor, &answer, sizeof answer, MSG_DONTWAIT); // it answers within send()
    const auto least = static_cast<ssize_t>(NLMSG_LENGTH(sizeof answer.found));
    // Where the connection is no more, the kernel may name a listening socket of the same address.
    if (size < least || answer.header.nlmsg_type != SOCK_DIAG_BY_FAMILY || answer.found.idiag_state != Established ||
        answer.found.id.idiag_dport != to.sin_port)
        return std::nullopt;
    return answer.found.idiag_uid;
}

} // namespace tarn::services
