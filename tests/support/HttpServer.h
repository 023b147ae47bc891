#pragma once
#include <QByteArray>
#include <QHash>
#include <QMutex>
#include <QString>
#include <QTcpServer>
#include <QThread>
#include <QVector>

class QTcpSocket;

// A web server for one test, on a separate thread and a free port of 127.0.0.1. Its treatment of a file is set here.
class HttpServer final
{
public:
    struct File
    {
        QByteArray content;
        int status = 200;        // anything else is answered with this and without the content
        bool ranges = true;      // false: always the whole file
        bool wrongRange = false; // a part is answered as if it began elsewhere
        bool redirects = false;  // first to another path, which answers late
        qint64 breakAfter = -1;  // closes the connection after this many bytes, with the first breaks answers
        int breaks = 0;
        qint64 bytesPerSecond = 0; // 0: at once
    };
    struct Request
    {
        QByteArray path;
        QByteArray range; // empty without one
    };

    HttpServer();
    ~HttpServer();
    Q_DISABLE_COPY(HttpServer)

    QString url(const QString &path) const;
    void set(const QString &path, const File &file); // path without the leading slash
    QVector<Request> requests() const;

private:
    File take(const Request &request); // counts it
    void answer(QTcpSocket *socket);   // once the request is complete; closes the connection
    static void sendFile(QTcpSocket *socket, const File &file, const QByteArray &range);

    mutable QMutex m_mutex;
    QHash<QByteArray, File> m_files;
    QVector<Request> m_requests;
    QThread m_thread;
    QTcpServer *const m_listener = new QTcpServer;
    quint16 m_port = 0;
};
