#include "widgets/WebLink.h"
#include <QDesktopServices>
#include <QUrl>

namespace weblink {

bool isPage(const QString &address)
{
    const QUrl url(address);
    const bool web = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    return web && url.isValid() && !url.host().isEmpty();
}

bool open(const QString &address)
{
    static const QStringList refused = {QString(), QStringLiteral("file"), QStringLiteral("javascript"),
                                        QStringLiteral("data"), QStringLiteral("vbscript")};
    const QUrl url(address);
    return url.isValid() && !refused.contains(url.scheme()) && QDesktopServices::openUrl(url);
}

} // namespace weblink
