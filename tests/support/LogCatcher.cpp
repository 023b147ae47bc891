#include "support/LogCatcher.h"

#include <QMutexLocker>

namespace {
QBasicMutex s_mutex; // another thread can be logging while the catcher is destroyed
LogCatcher *s_catcher = nullptr;
} // namespace

LogCatcher::LogCatcher()
{
    {
        const QMutexLocker lock(&s_mutex);
        Q_ASSERT(!s_catcher);
        s_catcher = this;
    }
    m_previous = qInstallMessageHandler(take);
}

LogCatcher::~LogCatcher()
{
    qInstallMessageHandler(m_previous);
    const QMutexLocker lock(&s_mutex);
    s_catcher = nullptr;
}

void LogCatcher::take(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QtMessageHandler next = nullptr;
    {
        const QMutexLocker lock(&s_mutex);
        if (!s_catcher)
            return;
        next = s_catcher->m_previous;
        const QMutexLocker linesLock(&s_catcher->m_mutex);
        s_catcher->m_lines.append({type, text, QString::fromUtf8(context.function), QString::fromUtf8(context.file)});
    }
    if (next)
        next(type, context, text);
}

QVector<LogCatcher::Line> LogCatcher::lines() const
{
    const QMutexLocker lock(&m_mutex);
    return m_lines;
}

QStringList LogCatcher::texts(QtMsgType type) const
{
    QStringList found;
    for (const Line &line : lines()) {
        if (line.type == type && line.file == QLatin1String("libTARN.VisualizedService.so"))
            found.append(line.text);
    }
    return found;
}

QStringList LogCatcher::texts() const
{
    QStringList found;
    for (const Line &line : lines())
        found.append(line.text);
    return found;
}

LogCatcher::Line LogCatcher::find(const QString &text) const
{
    for (const Line &line : lines()) {
        if (line.text == text)
            return line;
    }
    return {};
}

void LogCatcher::clear()
{
    const QMutexLocker lock(&m_mutex);
    m_lines.clear();
}
