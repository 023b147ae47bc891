#include "support/HttpServer.h"
#include <QMutexLocker>
#include <arpa/inet.h>
#include <cstring>
#include <microhttpd.h>

namespace {
const QByteArray Elsewhere = "/elsewhere"; // appended to the path by a redirect

// The content of one answer.
struct Body
{
    QByteArray content;
    size_t end; // the connection breaks here
    qint64 bytesPerSecond;
    QSemaphore *ended; // of the server

    static ssize_t read(void *body, uint64_t position, char *buffer, size_t room)
    {
        const auto &[content, end, bytesPerSecond, ended] = *static_cast<Body *>(body);
        if (position >= end)
            return MHD_CONTENT_READER_END_WITH_ERROR;
        size_t size = qMin(room, end - position);
        if (bytesPerSecond > 0) {
            ended->tryAcquire(1, 20); // the pace
            size = qBound<size_t>(1, size_t(bytesPerSecond / 50), size);
        }
        std::memcpy(buffer, content.constData() + position, size);
        return ssize_t(size);
    }
};
} // namespace

HttpServer::HttpServer()
{
    const auto access = [](void *self, MHD_Connection *connection, const char *url, const char *, const char *,
                           const char *, size_t *, void **) {
        return MHD_Result(static_cast<HttpServer *>(self)->answer(connection, url + 1));
    };
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    m_daemon = MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION, 0, nullptr, nullptr,
                                +access, this, MHD_OPTION_SOCK_ADDR, &address, MHD_OPTION_END);
    if (!m_daemon)
        qFatal("no web server");
}

HttpServer::~HttpServer()
{
    m_ended.release(1 << 20); // of every connection that keeps its pace
    MHD_stop_daemon(m_daemon);
}

QString HttpServer::url(const QString &path) const
{
    const auto port = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_BIND_PORT)->port;
    return QStringLiteral("http://127.0.0.1:%1/%2").arg(QString::number(port), path);
}

void HttpServer::set(const QString &path, const File &file)
{
    const QMutexLocker locker(&m_mutex);
    m_files.insert(path.toUtf8(), file);
}

QByteArrayList HttpServer::requests() const
{
    const QMutexLocker locker(&m_mutex);
    return m_requests;
}

HttpServer::File HttpServer::take(const QByteArray &path, const QByteArray &range)
{
    const QMutexLocker locker(&m_mutex);
    m_requests.append(range);
    const bool isElsewhere = path.endsWith(Elsewhere);
    const auto found = m_files.find(isElsewhere ? path.chopped(Elsewhere.size()) : path);
    if (found == m_files.end()) {
        File missing;
        missing.status = 404;
        return missing;
    }
    File file = *found;
    file.redirects = file.redirects && !isElsewhere;
    if (found->breaks > 0 && !file.redirects)
        --found->breaks;
    return file;
}

int HttpServer::answer(MHD_Connection *connection, const QByteArray &path)
{
    const QByteArray range = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Range");
    const File file = take(path, range);
    if (path.endsWith(Elsewhere))
        m_ended.tryAcquire(1, 200); // a slow mirror
    unsigned status = file.redirects ? 302 : unsigned(file.status);
    QByteArray content = status == 200 ? file.content : QByteArray();
    QByteArray place;
    if (status == 200 && file.ranges && !range.isEmpty()) {
        const int first = range.mid(6).split('-').value(0).toInt();
        const QByteArray size = QByteArray::number(content.size());
        status = first < content.size() ? 206 : 416;
        place = (status == 206
                     ? QByteArray::number(first + int(file.wrongRange)) + '-' + QByteArray::number(content.size() - 1)
                     : "*") +
                '/' + size;
        content.remove(0, first);
    }
    const auto size = size_t(content.size());
    const bool breaks = file.breaks > 0 && file.breakAfter >= 0;
    auto *body = new Body{content, breaks ? qMin(size, size_t(file.breakAfter)) : size, file.bytesPerSecond, &m_ended};
    MHD_Response *response = MHD_create_response_from_callback(size, 1 << 16, &Body::read, body,
                                                               [](void *done) { delete static_cast<Body *>(done); });
    MHD_add_response_header(response, "Connection", "close");
    if (file.redirects)
        MHD_add_response_header(response, "Location", ('/' + path + Elsewhere).constData());
    if (!place.isEmpty())
        MHD_add_response_header(response, "Content-Range", ("bytes " + place).constData());
    const int queued = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return queued;
}
