#include "widgets/DNSAnalysisTool.h"
#include "base/Log.h"
#include <QHostInfo>
#include <QRegularExpression>
#include <QUrl>

namespace ServiceVisualized {
namespace {

constexpr int LongestName = 253; // characters of a name that DNS can carry

bool matchesWhole(const QString &pattern, const char *text)
{
    if (!text || qstrlen(text) > uint(LongestName))
        return false;
    const QRegularExpression expression(QRegularExpression::anchoredPattern(pattern));
    return expression.match(QString::fromUtf8(text)).hasMatch();
}

} // namespace

bool DNSAnalysisTool::ParseDomainAddress(const QString &url, URL_RESULT_T *result)
{
    if (!url.startsWith(QLatin1String("http://")) && !url.startsWith(QLatin1String("https://"))) {
        VT_LOG(warning) << QStringLiteral("invalid url1: %1").arg(url);
        return false;
    }
    if (url.size() == url.indexOf(QLatin1String("//")) + 2) {
        VT_LOG(warning) << QStringLiteral("invalid url2: %1").arg(url);
        return false;
    }
    const QUrl address(url);
    const bool hasHost = address.isValid() && !address.host().isEmpty();
    if (!hasHost || !address.userInfo().isEmpty() || url.contains(QChar::Null)) {
        // Without the text: it may hold a password.
        VT_LOG(warning) << QStringLiteral("【解析地址】主机、端口或用户名无效。");
        return false;
    }
    URL_RESULT_T parts{address.scheme(), address.host(), QString()};
    const QByteArray host = parts.host.toUtf8();
    if (IsIp(host.constData()))
        parts.address = parts.host;
    else if (IsDomain(host.constData()))
        parts.address = QString::fromStdString(DomainToIp(host.toStdString()));
    if (parts.address.isEmpty())
        VT_LOG(warning) << QStringLiteral("【解析地址】主机名无法解析：%1").arg(parts.host);
    if (result)
        *result = parts;
    return !parts.address.isEmpty();
}

bool DNSAnalysisTool::IsIp(const char *text)
{
    return matchesWhole(QStringLiteral("((25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9][0-9]|[0-9])\\.){3}"
                                       "(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9][0-9]|[0-9])"),
                        text);
}

bool DNSAnalysisTool::IsDomain(const char *text)
{
    return matchesWhole(QStringLiteral("([0-9A-Za-z\\-_\\.]+)\\.([0-9a-z]+\\.[a-z]{2,3}(\\.[a-z]{2})?)"), text);
}

std::string DNSAnalysisTool::DomainToIp(const std::string &domain)
{
    const QHostInfo host = QHostInfo::fromName(QString::fromStdString(domain));
    if (host.error() != QHostInfo::NoError) {
        VT_LOG(critical) << host.errorString();
        return std::string();
    }
    if (host.addresses().isEmpty() || host.addresses().constFirst().isNull())
        return std::string();
    return host.addresses().constFirst().toString().toStdString();
}

} // namespace ServiceVisualized
