#include "login/WebAddress.h"

namespace webaddress {

QUrl parse(const QString &address)
{
    const QUrl url(address.trimmed());
    const bool web = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    return web && url.isValid() && !url.host().isEmpty() ? url : QUrl();
}

} // namespace webaddress
