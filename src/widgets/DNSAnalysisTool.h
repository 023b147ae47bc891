#pragma once

#include <QString>
#include <string>

namespace ServiceVisualized {

/// The parts of an address that name its server.
struct URL_RESULT_T
{
    QString scheme;  // "http" or "https"
    QString host;    // name or dotted IPv4 address
    QString address; // the host's IP address; empty when the name could not be resolved
};

/// Splits an address into its parts and resolves its host. Stateless. ParseDomainAddress and DomainToIp block the calling
/// thread for the lookup.
class DNSAnalysisTool final
{
public:
    DNSAnalysisTool() = delete;

    /// @param result null: the address is only judged; else written when the address can be split, also when its host
    ///        then cannot be resolved
    /// @return whether the address could be split and its host is an IP address or a name that resolves. Refused with a
    ///         warning: other schemes, nothing after the scheme, user names, bad ports, hosts of neither kind.
    static bool ParseDomainAddress(const QString &url, URL_RESULT_T *result);
    /// Whether the whole text is a dotted IPv4 address.
    static bool IsIp(const char *text);
    /// Whether the whole text is a domain name of three labels or more, at most as long as DNS allows.
    static bool IsDomain(const char *text);
    /// The first address of the name; empty, with a critical line, when the lookup fails.
    static std::string DomainToIp(const std::string &domain);
};

} // namespace ServiceVisualized
