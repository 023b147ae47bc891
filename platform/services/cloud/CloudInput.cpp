#include "services/cloud/CloudInput.h"
#include "tarn/keys/CloudKeys.h"
#include <algorithm>

namespace tarn::services {

namespace key = cloud::key;

QString readText(const QVariantMap &values, const QString &key, QString *text)
{
    const QVariant value = values.value(key);
    if (!value.isValid())
        return QStringLiteral("%1 is missing").arg(key);
    if (value.userType() != QMetaType::QString)
        return QStringLiteral("%1: a string is wanted").arg(key);
    *text = value.toString();
    return text->size() > MaxInputText ? QStringLiteral("%1 is longer than %2 characters").arg(key).arg(MaxInputText)
                                       : QString();
}

QString readOptionalText(const QVariantMap &values, const QString &key, QString *text)
{
    return values.value(key).isNull() ? QString() : readText(values, key, text);
}

QString readSecret(const QVariantMap &values, const QString &key, Secret *secret)
{
    QString text;
    QString wrong = readText(values, key, &text);
    if (wrong.isEmpty())
        *secret = Secret(text);
    return wrong;
}

QString readFlag(const QVariantMap &values, const QString &key, bool *flag)
{
    const QVariant value = values.value(key);
    if (!value.isValid())
        return {};
    if (value.userType() != QMetaType::Bool)
        return QStringLiteral("%1: true or false is wanted").arg(key);
    *flag = value.toBool();
    return {};
}

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

QString readFlags(const QVariantMap &values, SignInFlags *flags)
{
    QString wrong = readFlag(values, key::AutoLogin, &flags->autoLogin);
    if (wrong.isEmpty())
        wrong = readFlag(values, key::Remember, &flags->remember);
    flags->remember |= flags->autoLogin;
    return wrong.isEmpty() ? readFlag(values, key::YunLockErrorTip, &flags->lockTip) : wrong;
}

QString readSignIn(const QVariantMap &values, const QString &nameKey, QString *name, const QString &secretKey,
                   Secret *secret, SignInFlags *flags)
{
    QString wrong = readText(values, nameKey, name);
    if (wrong.isEmpty())
        wrong = readSecret(values, secretKey, secret);
    return wrong.isEmpty() ? readFlags(values, flags) : wrong;
}

} // namespace tarn::services
