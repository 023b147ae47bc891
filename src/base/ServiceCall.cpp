#include "base/ServiceCall.h"

namespace tarn::visualized {

QString ServiceOutcome::failure(const QString &where) const
{
    return vtlog::callFailed(where, transportFailed(), code, error);
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
