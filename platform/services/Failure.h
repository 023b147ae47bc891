#pragma once
#include <QLoggingCategory>
#include <QString>
#include <stdexcept>

/// The services report errors as exceptions: each ends the work on one request, task or file.
namespace tarn::services {

/// Log lines of the background services; they hold ids and reasons, never texts of messages.
Q_DECLARE_LOGGING_CATEGORY(servicesLog)

/// Work that could not be done; the text says why.
struct Failure : std::runtime_error
{
    explicit Failure(const QString &text)
        : std::runtime_error(text.toStdString())
    {
    }
    QString text() const { return QString::fromUtf8(what()); }
};

/// A request with a missing or wrong value; the text names the key.
struct BadRequest : Failure
{
    using Failure::Failure;
};

/// A request that is refused with this return code of its service.
struct Refusal : Failure
{
    Refusal(int returnCode, const QString &text)
        : Failure(text)
        , code(returnCode)
    {
    }
    const int code;
};

/// Throws Failure if the condition holds.
inline void failIf(bool condition, const QString &text)
{
    if (condition)
        throw Failure(text);
}

/// Throws BadRequest unless the condition holds.
inline void require(bool holds, const QString &error)
{
    if (!holds)
        throw BadRequest(error);
}

/// Runs work. @return the text of its exception, never empty; empty on success
template <class Work>
QString errorOf(Work work)
{
    try {
        work();
    } catch (const std::exception &e) {
        const QString text = QString::fromUtf8(e.what());
        return text.isEmpty() ? QStringLiteral("unknown error") : text;
    }
    return {};
}

} // namespace tarn::services
