#pragma once

#include <QJsonValue>
#include <QMap>
#include <QProcess>
#include <QRect>
#include <QTemporaryDir>

struct XClient;

// A private copy of the program folder with a runtime directory, data, temporary files and a PATH entry of its own. What
// runs from it meets neither the user's platform nor that of another session. Ends every process of its own on
// destruction; what the host wrote is told when the test has failed.
class Session final
{
public:
    struct Result
    {
        int exitCode = -1; // -1: did not end in time, or crashed
        QByteArray output, errors;
        QJsonValue json() const; // undefined unless output is one JSON value
    };

    Session();
    ~Session();
    Q_DISABLE_COPY(Session)

    QString bin() const { return m_folder.filePath(QStringLiteral("bin")); }
    QString runtimeDir() const { return m_folder.filePath(QStringLiteral("run")); }
    QString path(const QString &name) const { return m_folder.filePath(name); }
    QProcessEnvironment environment() const { return m_environment; }

    // Replaces a file of the program folder; the folder it was copied from stays as it is.
    bool writeBinFile(const QString &name, const QByteArray &content) const;

    bool startHost();                           // true once the process runs
    bool startSecondHost(QProcess *host) const; ///< beside the one of startHost(), into the same log
    bool startHub(QProcess *hub) const;         // as the host would, but under this process
    bool waitReady();                           // hub, services and the visualized service answer
    int stopHost();                             // SIGTERM; the exit code, -1 when it crashed or stayed
    bool hostRuns() const;
    QString hostLog() const; // what the host wrote so far, standard output and error

    // Runs tarnctl with this standard input and waits for its end.
    Result tarnctl(const QStringList &arguments, int timeoutMs = 30000, const QByteArray &input = {}) const;
    // Pushes a message; options as tarnctl takes them, before them some title and content. The message's id, empty
    // when refused.
    QString push(const QStringList &options = {}) const;

    // Processes that run this session's copy of the program; signalled with kill().
    QVector<qint64> pids(const QString &program) const;
    int signalAll(const QString &program, int signal) const;
    // Links that were given to the desktop's opener, which is a recording fake here.
    QStringList openedLinks() const;

private:
    void copyPrograms() const;
    void installOpener();
    void endAll();

    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
    QProcess m_host;
};
