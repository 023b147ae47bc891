#include "services/cloud/CloudInput.h"
#include "services/Files.h"
#include "services/Log.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <QSettings>
#include <QUrl>
#include <algorithm>

namespace tarn::services {

namespace key = cloud::key;
namespace wire = link::wire;

namespace {

bool isWebAddress(const QString &address)
{
    const QUrl url(address, QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"));
}

void ignoreSetting(const QString &name, const QString &wanted)
{
    qCWarning(servicesLog).noquote()
        << QStringLiteral("cfg.ini, cloud/%1: expected %2; the value is ignored").arg(name, wanted);
}

// A text without blanks around it and without invisible characters.
QString plain(const QString &key, const QString &text)
{
    require(text == text.trimmed() && text.size() <= RequestReader::MaxName && isPlainText(text),
            QStringLiteral("%1: expected up to %2 characters, no blanks around them and no control characters")
                .arg(key, QString::number(RequestReader::MaxName)));
    return text;
}

} // namespace

bool isPlainText(const QString &text)
{
    const QVector<uint> points = text.toUcs4();
    return std::none_of(points.cbegin(), points.cend(), [](uint point) {
        const QChar::Category category = QChar::category(point);
        return category == QChar::Other_Control || category == QChar::Other_Format ||
               category == QChar::Separator_Line || category == QChar::Separator_Paragraph;
    });
}

bool isPhone(const QString &text)
{
    constexpr int Digits = 11;
    return text.size() == Digits &&
           std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

SignInFlags::SignInFlags(const RequestReader &request)
    : autoLogin(request.flag(key::AutoLogin))
    , remember(request.flag(key::Remember) || autoLogin)
    , lockTip(request.flag(key::YunLockErrorTip))
{
}

CloudSettings CloudSettings::ofProgram(const QString &programDirectory)
{
    constexpr qint64 MaxLifetime = 3600;
    const QString lifetime = QStringLiteral("qr_lifetime");
    QSettings file(settingsFile(programDirectory), QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    file.beginGroup(QStringLiteral("cloud"));
    CloudSettings settings;
    for (const QString &linkKey : {key::LinkRegister, key::LinkForgetPassword, key::LinkBindAccount}) {
        const QString address = file.value(linkKey).toStringList().join(QLatin1Char(',')); // split at its commas
        if (isWebAddress(address))
            settings.links.insert(linkKey, address);
        else if (file.contains(linkKey))
            ignoreSetting(linkKey, QStringLiteral("an http or https address"));
    }
    const qint64 seconds = file.value(lifetime).toLongLong();
    if (seconds > 0 && seconds <= MaxLifetime)
        settings.qrLifetimeMs = seconds * 1000;
    else if (file.contains(lifetime))
        ignoreSetting(lifetime, QStringLiteral("a number of seconds up to %1").arg(MaxLifetime));
    return settings;
}

QString readUser(const RequestReader &request)
{
    return plain(key::User, request.name(key::User));
}

CloudAccount readAccount(const RequestReader &request)
{
    CloudAccount account;
    account.name = readUser(request);
    account.phone = request.optionalText(key::Phone);
    require(account.phone.isEmpty() || isPhone(account.phone),
            QStringLiteral("%1: expected 11 digits").arg(key::Phone));
    account.weixin = plain(wire::Weixin, request.optionalText(wire::Weixin));
    account.qq = plain(wire::Qq, request.optionalText(wire::Qq));
    return account;
}

} // namespace tarn::services
