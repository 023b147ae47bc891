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
        {
            const QMutexLocker lock(&s_mutex);
            Q_ASSERT(!s_catcher);
            s_catcher = this;
        }
        m_previous = qInstallMessageHandler(take);
    }
    ~LogCatcher()
    {
        qInstallMessageHandler(m_previous);
        const QMutexLocker lock(&s_mutex);
        s_catcher = nullptr;
    }
    Q_DISABLE_COPY(LogCatcher)

    QVector<Line> lines() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_lines;
    }
    // Only those of the library under test: lines of Qt's own are left out.
    QStringList texts(QtMsgType type) const
    {
        QStringList found;
        for (const Line &line : lines()) {
            if (line.type == type && line.file == QLatin1String("libTARN.VisualizedService.so"))
                found.append(line.text);
        }
        return found;
    }
    QStringList texts() const // of all lines, of any origin
    {
        QStringList found;
        for (const Line &line : lines())
            found.append(line.text);
        return found;
    }
    // Lines of exactly this text.
    int count(QtMsgType type, const QString &text) const { return texts(type).count(text); }
    bool has(QtMsgType type, const QString &text) const { return count(type, text) > 0; }
    int count(const QString &text) const { return texts().count(text); } // the same whatever their level
    bool has(const QString &text) const { return count(text) > 0; }
    Line find(const QString &text) const
    {
        return lines().value(texts().indexOf(text));
    } // the first; empty without one
    void clear()
    {
        const QMutexLocker lock(&m_mutex);
        m_lines.clear();
    }

private:
    static void take(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        QtMessageHandler next = nullptr;
        {
            const QMutexLocker lock(&s_mutex);
            if (!s_catcher)
                return;
            next = s_catcher->m_previous;
            const QMutexLocker linesLock(&s_catcher->m_mutex);
            s_catcher->m_lines.append(
                {type, text, QString::fromUtf8(context.function), QString::fromUtf8(context.file)});
        }
        if (next)
            next(type, context, text);
    }

    static inline QBasicMutex s_mutex; // another thread can be logging while the catcher is destroyed
    static inline LogCatcher *s_catcher = nullptr;

    mutable QMutex m_mutex;
    QVector<Line> m_lines;
    QtMessageHandler m_previous = nullptr;
};
