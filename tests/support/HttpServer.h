#pragma once
#include <QByteArrayList>
#include <QHash>
#include <QMutex>
#include <QSemaphore>
#include <QString>

struct MHD_Connection;
struct MHD_Daemon;

// A web server for one test, on the library's threads and a free port of 127.0.0.1. Its treatment of a file is set here.
class HttpServer final
{
public:
    struct File
    {
        File(const QByteArray &bytes = {}) // a test may pass the bytes alone
            : content(bytes)
        {
        }
        QByteArray content;
        int status = 200;        // anything else is answered with this and without the content
        bool ranges = true;      // false: always the whole file
        bool wrongRange = false; // a part is answered as if it began elsewhere
        bool redirects = false;  // first to another path, which answers late
        qint64 breakAfter = -1;  // closes the connection after this many bytes, with the first breaks answers
        int breaks = 0;
        qint64 bytesPerSecond = 0; // 0: at once
    };

    HttpServer();
    ~HttpServer();
    Q_DISABLE_COPY(HttpServer)

    QString url(const QString &path) const;
    void set(const QString &path, const File &file); // path without the leading slash
    QByteArrayList requests() const;                 // the range of each; empty without one

private:
    File take(const QByteArray &path, const QByteArray &range); // counts the request
    int answer(MHD_Connection *connection, const QByteArray &path);

    mutable QMutex m_mutex;
    QHash<QByteArray, File> m_files;
    QByteArrayList m_requests;
    QSemaphore m_ended; // released when the server ends
    MHD_Daemon *m_daemon = nullptr;
};
