#pragma once

#include <QMutexLocker>
#include <QStringList>
#include <QVector>

// Records everything that is logged while it lives, from any thread. One at a time; the earlier handler comes back
// afterwards. Lines are also printed, so that a failing test shows them.
class LogCatcher final
{
public:
    struct Line
    {
        QtMsgType type = QtDebugMsg;
        QString text;
        QString function; // as the log's function field carries it
        QString file;
    };

    LogCatcher()
    {
        const QMutexLocker lock(&s_mutex);
        Q_ASSERT(!s_catcher);
        s_catcher = this;
        m_previous = qInstallMessageHandler(take);
    }
    ~LogCatcher()
    {
        const QMutexLocker lock(&s_mutex);
        qInstallMessageHandler(m_previous);
        s_catcher = nullptr;
    }
    Q_DISABLE_COPY(LogCatcher)

    QVector<Line> lines() const
    {
        const QMutexLocker lock(&s_mutex);
        QVector<Line> copy = m_lines;
        copy.detach(); // other threads write to shared memory as soon as its count is 1
        return copy;
    }
    QStringList texts() const // of all lines, of any origin
    {
        return textsOf([](const Line &) { return true; });
    }
    QStringList ours() const // of the library under test alone: Qt's are left out
    {
        return textsOf(isOurs);
    }
    QStringList texts(QtMsgType type) const // of the lines that ours() returns
    {
        return textsOf([type](const Line &line) { return line.type == type && isOurs(line); });
    }
    // Lines of exactly this text.
    int count(QtMsgType type, const QString &text) const { return texts(type).count(text); }
    bool has(QtMsgType type, const QString &text) const { return count(type, text) > 0; }
    int count(const QString &text) const { return texts().count(text); } // the same whatever their level
    bool has(const QString &text) const { return count(text) > 0; }
    // The first; empty without one.
    Line find(const QString &text) const { return lines().value(texts().indexOf(text)); }
    void clear()
    {
        const QMutexLocker lock(&s_mutex);
        m_lines.clear();
    }

private:
    static bool isOurs(const Line &line) { return line.file == QLatin1String("libTARN.VisualizedService.so"); }

    template <class Wanted>
    QStringList textsOf(Wanted wanted) const
    {
        QStringList found;
        for (const Line &line : lines()) {
            if (wanted(line))
                found.append(line.text);
        }
        return found;
    }

    static void take(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        QMutexLocker lock(&s_mutex);
        if (!s_catcher)
            return;
        s_catcher->m_lines.append({type, text, QString::fromUtf8(context.function), QString::fromUtf8(context.file)});
        const QtMessageHandler next = s_catcher->m_previous;
        lock.unlock();
        if (next)
            next(type, context, text);
    }

    static inline QBasicMutex s_mutex; // another thread can be logging while the catcher is destroyed
    static inline LogCatcher *s_catcher = nullptr;

    QVector<Line> m_lines;
    QtMessageHandler m_previous = nullptr;
};
