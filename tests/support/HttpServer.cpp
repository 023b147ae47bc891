#include "support/HttpServer.h"
#include <QMutexLocker>
#include <QTcpSocket>
#include <QTimer>

namespace {
const QByteArray Elsewhere = "/elsewhere"; // appended to the path by a redirect

void send(QTcpSocket *socket, const QByteArray &status, const QByteArray &headers, const QByteArray &body,
          const HttpServer::File &file)
{
    socket->write("HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + QByteArray::number(body.size()) +
                  "\r\nConnection: close\r\n\r\n");
    QByteArray left = file.breaks > 0 && file.breakAfter >= 0 ? body.left(int(file.breakAfter)) : body;
    if (file.bytesPerSecond == 0) {
        socket->write(left);
        socket->disconnectFromHost();
        return;
    }
    auto *timer = new QTimer(socket);
    const int portion = int(qMax<qint64>(1, file.bytesPerSecond / 50));
    QObject::connect(timer, &QTimer::timeout, socket, [socket, portion, left]() mutable {
        socket->write(left.left(portion));
        left.remove(0, portion);
        if (left.isEmpty())
            socket->disconnectFromHost();
    });
    timer->start(20);
}
} // namespace

HttpServer::HttpServer()
{
    QObject::connect(m_listener, &QTcpServer::newConnection, m_listener, [this] {
        while (QTcpSocket *socket = m_listener->nextPendingConnection()) {
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
            QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    m_listener->listen(QHostAddress::LocalHost);
    m_port = m_listener->serverPort();
    m_listener->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_listener, &QObject::deleteLater);
    m_thread.start();
}

HttpServer::~HttpServer()
{
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

HttpServer::File HttpServer::take(const Request &request)
{
    const QMutexLocker locker(&m_mutex);
    m_requests.append(request);
    const bool isElsewhere = request.path.endsWith(Elsewhere);
    const auto found = m_files.find(isElsewhere ? request.path.chopped(Elsewhere.size()) : request.path);
    if (found == m_files.end())
        return {{}, 404};
    File file = *found;
    file.redirects = file.redirects && !isElsewhere;
    if (found->breaks > 0 && !file.redirects)
        --found->breaks;
    return file;
}

void HttpServer::answer(QTcpSocket *socket)
{
    if (!socket->peek(socket->bytesAvailable()).contains("\r\n\r\n"))
        return;
    const QByteArray request = socket->readAll();
    const QByteArray path = request.mid(request.indexOf('/') + 1).split(' ').value(0);
    QByteArray range;
    for (const QByteArray &line : request.split('\n')) {
        if (line.toLower().startsWith("range:"))
            range = line.mid(6).trimmed();
    }
    const File file = take({path, range});
    if (file.redirects) {
        send(socket, "302 Found", "Location: /" + path + Elsewhere + "\r\n", {}, {});
        return;
    }
    if (path.endsWith(Elsewhere))
        QTimer::singleShot(200, socket, [=] { sendFile(socket, file, range); });
    else
        sendFile(socket, file, range);
}

void HttpServer::sendFile(QTcpSocket *socket, const File &file, const QByteArray &range)
{
    if (file.status != 200)
        return send(socket, QByteArray::number(file.status) + " No", {}, "no such thing", file);
    if (range.isEmpty() || !file.ranges)
        return send(socket, "200 OK", {}, file.content, file);
    const qint64 first = range.mid(6).split('-').value(0).toLongLong();
    const QByteArray size = QByteArray::number(file.content.size());
    if (first >= file.content.size())
        return send(socket, "416 Range", "Content-Range: bytes */" + size + "\r\n", {}, file);
    send(socket, "206 Partial",
         "Content-Range: bytes " + QByteArray::number(first + int(file.wrongRange)) + '-' +
             QByteArray::number(file.content.size() - 1) + '/' + size + "\r\n",
         file.content.mid(int(first)), file);
}
