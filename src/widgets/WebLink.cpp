#include "widgets/WebLink.h"
#include <QDesktopServices>
#include <QUrl>

namespace tarn::visualized::weblink {
namespace {

constexpr int MaxAddress = 4096; // characters

bool isWeb(const QUrl &url)
{
    const bool web = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    return web && url.isValid() && !url.host().isEmpty();
}

bool hasDot(const QString &host)
{
    return host.contains(QLatin1Char('.')) || host == QLatin1String("localhost");
}

} // namespace

bool isPage(const QString &address)
{
    return isWeb(QUrl(address));
}

QUrl target(const QString &address)
{
    if (address.size() > MaxAddress)
        return QUrl();
    const QUrl url(address.trimmed());
    if (isWeb(url) || (url.scheme() == QLatin1String("mailto") && !url.path().isEmpty()))
        return url;
    // fromUserInput() takes paths for files and any word for a host.
    const QUrl guessed = QUrl::fromUserInput(address);
    const bool hadScheme = !url.scheme().isEmpty() && url.scheme() == guessed.scheme();
    return !hadScheme && isWeb(guessed) && hasDot(guessed.host()) ? guessed : QUrl();
}

bool open(const QString &address)
{
    const QUrl url = target(address);
    return !url.isEmpty() && QDesktopServices::openUrl(url);
}

} // namespace tarn::visualized::weblink
