#include "support/HttpServer.h"
#include <QMutexLocker>
#include <QTcpSocket>
#include <QTimer>

// Answers one request and closes.
class HttpServer::Connection final : public QObject
{
public:
    Connection(HttpServer *server, QTcpSocket *socket)
        : QObject(socket)
        , m_server(server)
        , m_socket(socket)
    {
        connect(socket, &QTcpSocket::readyRead, this, &Connection::read);
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

private:
    void read()
    {
        m_request += m_socket->readAll();
        if (m_answered || !m_request.contains("\r\n\r\n"))
            return;
        m_answered = true;
        const QByteArray path = m_request.mid(m_request.indexOf('/') + 1).split(' ').value(0);
        QByteArray range;
        for (const QByteArray &line : m_request.split('\n')) {
            if (line.toLower().startsWith("range:"))
                range = line.mid(6).trimmed();
        }
        answer(m_server->take(path, range), range);
    }

    void answer(const File &file, const QByteArray &range)
    {
        if (file.status != 200)
            return send(QByteArray::number(file.status) + " No", {}, "no such thing", file);
        const qint64 first = range.mid(6).split('-').value(0).toLongLong();
        const QByteArray size = QByteArray::number(file.content.size());
        if (range.isEmpty() || !file.ranges)
            return send("200 OK", {}, file.content, file);
        if (first >= file.content.size())
            return send("416 Range", "Content-Range: bytes */" + size + "\r\n", {}, file);
        send("206 Partial",
             "Content-Range: bytes " + QByteArray::number(first) + '-' + QByteArray::number(file.content.size() - 1) +
                 '/' + size + "\r\n",
             file.content.mid(int(first)), file);
    }

    void send(const QByteArray &status, const QByteArray &headers, const QByteArray &body, const File &file)
    {
        m_socket->write("HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + QByteArray::number(body.size()) +
                        "\r\nConnection: close\r\n\r\n");
        m_body = file.breaks > 0 && file.breakAfter >= 0 ? body.left(int(file.breakAfter)) : body;
        if (file.bytesPerSecond == 0) {
            m_socket->write(m_body);
            m_socket->disconnectFromHost();
            return;
        }
        auto *timer = new QTimer(this);
        const int portion = int(qMax<qint64>(1, file.bytesPerSecond / 50));
        connect(timer, &QTimer::timeout, this, [this, portion] {
            m_socket->write(m_body.left(portion));
            m_body.remove(0, portion);
            if (m_body.isEmpty())
                m_socket->disconnectFromHost();
        });
        timer->start(20);
    }

    HttpServer *const m_server;
    QTcpSocket *const m_socket;
    QByteArray m_request;
    QByteArray m_body;
    bool m_answered = false;
};

class HttpServer::Listener final : public QTcpServer
{
public:
    explicit Listener(HttpServer *server)
        : m_server(server)
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = nextPendingConnection())
                new Connection(m_server, socket);
        });
    }

private:
    HttpServer *const m_server;
};

HttpServer::HttpServer()
{
    m_listener = new Listener(this);
    m_listener->moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(
        m_listener,
        [this] {
            m_listener->listen(QHostAddress::LocalHost);
            m_port = m_listener->serverPort();
        },
        Qt::BlockingQueuedConnection);
}

HttpServer::~HttpServer()
{
    QMetaObject::invokeMethod(
        m_listener, [this] { delete m_listener; }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QString HttpServer::url(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1/%2").arg(QString::number(m_port), path);
}

void HttpServer::set(const QString &path, const File &file)
{
    const QMutexLocker locker(&m_mutex);
    m_files.insert(path.toUtf8(), file);
}

QVector<HttpServer::Request> HttpServer::requests() const
{
    const QMutexLocker locker(&m_mutex);
    return m_requests;
}

HttpServer::File HttpServer::take(const QByteArray &path, const QByteArray &range)
{
    const QMutexLocker locker(&m_mutex);
    m_requests.append({path, range});
    const auto found = m_files.find(path);
    if (found == m_files.end()) {
        File missing;
        missing.status = 404;
        return missing;
    }
    const File file = *found;
    if (found->breaks > 0)
        --found->breaks;
    return file;
}
