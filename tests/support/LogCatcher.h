#pragma once

#include <QMutex>
#include <QString>
#include <QStringList>
#include <QVector>

// Records everything that is logged while it lives, from any thread. One at a time; the earlier handler comes back
// afterwards. Lines are also printed, so that a failing test shows them.
class LogCatcher final
{
public:
    struct Line
    {
        QtMsgType type;
        QString text;
        QString function; // as the log's function field carries it
        QString file;
    };

    LogCatcher();
    ~LogCatcher();
    Q_DISABLE_COPY(LogCatcher)

    QVector<Line> lines() const;
    // Only those of the library under test: lines of Qt's own are left out.
    QStringList texts(QtMsgType type) const;
    // Lines of exactly this text.
    int count(QtMsgType type, const QString &text) const { return texts(type).count(text); }
    bool has(QtMsgType type, const QString &text) const { return count(type, text) > 0; }
    QStringList texts() const;                                           // of all lines, of any origin
    int count(const QString &text) const { return texts().count(text); } // the same whatever their level
    bool has(const QString &text) const { return count(text) > 0; }
    Line find(const QString &text) const; // the first line of this text; an empty one if there is none
    void clear();

private:
    static void take(QtMsgType type, const QMessageLogContext &context, const QString &text);

    mutable QMutex m_mutex;
    QVector<Line> m_lines;
    QtMessageHandler m_previous = nullptr;
};
