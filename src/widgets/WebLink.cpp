#include "widgets/WebLink.h"
#include <QDesktopServices>
#include <QUrl>

namespace weblink {

bool open(const QString &address)
{
    static const QStringList refused = {QString(), QStringLiteral("file"), QStringLiteral("javascript"),
                                        QStringLiteral("data"), QStringLiteral("vbscript")};
    const QUrl url(address);
    return url.isValid() && !refused.contains(url.scheme()) && QDesktopServices::openUrl(url);
}

} // namespace weblink
