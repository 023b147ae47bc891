#pragma once
#include <netinet/in.h>
#include <optional>
#include <sys/types.h>

namespace tarn::services {

/// The user whose program holds the other end of a TCP connection on this machine. The kernel is asked for this one
/// connection, whose costs do not depend on how many there are. Any thread.
/// @param from the other end's address
/// @param to our own
/// @return nothing when the connection is not there (any longer)
std::optional<uid_t> userOfPeer(const sockaddr_in &from, const sockaddr_in &to);

} // namespace tarn::services
