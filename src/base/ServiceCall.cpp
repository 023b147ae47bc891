#include "base/ServiceCall.h"

namespace tarn::visualized {

QString ServiceOutcome::failure(const QString &where) const
{
    return where + failure(QStringLiteral("rpc通信失败，返回错误码为：%1，错误信息为：%2。"),
                           QStringLiteral("失败。返回错误码为：%1，错误信息为：%2。"));
}

QString ServiceOutcome::failure(const QString &lost, const QString &refused) const
{
    // One arg() call: a chain would replace a "%1" inside the error.
    return (transportFailed() ? lost : refused).arg(QString::number(code), error);
}

ServiceOutcome ServiceOutcome::transportAsRefusal() const
{
    ServiceOutcome outcome = *this;
    if (transportFailed())
        outcome.ending = Ending::Refused;
    return outcome;
}

void ServiceOutcome::log(const QMessageLogger &logger, const QString &where, const QString &success) const
{
    if (!called() || (accepted() && success.isEmpty()))
        return;
    if (accepted())
        vtlog::Line(logger.info().noquote()) << success;
    else
        vtlog::Line(logger.critical().noquote()) << failure(where);
}

QString servicecall::ownCopy(const QString &text)
{
    return QString(text.constData(), text.size());
}

} // namespace tarn::visualized
