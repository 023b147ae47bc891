#include "services/PackageDownload.h"
#include "services/Files.h"
#include "services/Throttle.h"
#include <QFileInfo>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <algorithm>
#include <utility>

namespace tarn::services {

namespace {

constexpr int IdleMs = 20000;
constexpr int MaxVainAttempts = 6;
constexpr int FirstDelayMs = 250; // doubled with every attempt in vain
constexpr int LongestDelayMs = 8000;
constexpr qint64 Slice = 256 * 1024; // bytes read at once

// Plain http only from this machine: the network could read which products are installed, and change the packages.
bool isAllowed(const QUrl &url)
{
    const QString host = url.host();
    const bool isLocal = host == QLatin1String("localhost") || QHostAddress(host).isLoopback();
    return url.isLocalFile() || url.scheme() == QLatin1String("https") ||
           (url.scheme() == QLatin1String("http") && isLocal);
}

int statusOf(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(); // 0 for a file
}

// An error that another attempt would meet again.
bool isFinal(const QNetworkReply &reply)
{
    const int status = statusOf(reply);
    if (reply.url().isLocalFile() || reply.error() == QNetworkReply::SslHandshakeFailedError ||
        reply.error() == QNetworkReply::ProtocolUnknownError)
        return true;
    return status >= 400 && status < 500 && status != 408 && status != 416 && status != 429;
}

// The first byte of a partial answer, -1 when the answer does not name it.
qint64 firstByte(const QNetworkReply &reply)
{
    const QByteArray range = reply.rawHeader("Content-Range").trimmed(); // bytes 100-199/200
    if (!range.startsWith("bytes "))
        return -1;
    bool good = false;
    const qint64 first = range.mid(6, range.indexOf('-') - 6).toLongLong(&good);
    return good ? first : -1;
}

} // namespace

PackageDownload::PackageDownload(PackageSource source, const QString &file, QNetworkAccessManager *network,
                                 Throttle *throttle, QObject *parent)
    : QObject(parent)
    , m_source(std::move(source))
    , m_file(file)
    , m_network(network)
    , m_throttle(throttle)
{
    m_idle.setSingleShot(true);
    m_idle.setInterval(IdleMs);
    connect(&m_idle, &QTimer::timeout, this, [this] { tryAgain(QStringLiteral("the server does not answer")); });
    m_readSoon.setSingleShot(true);
    m_readSoon.setInterval(Throttle::waitMs());
    connect(&m_readSoon, &QTimer::timeout, this, &PackageDownload::read);
}

PackageDownload::~PackageDownload()
{
    dropReply();
}

void PackageDownload::start()
{
    if (!isAllowed(m_source.url))
        return end(QStringLiteral("address not supported, expected https or a local file: %1")
                       .arg(m_source.url.toString().left(300)));
    if (m_source.url.isLocalFile() && !QFileInfo(m_source.url.toLocalFile()).isFile())
        return end(QStringLiteral("%1 is no file").arg(m_source.url.toLocalFile()));
    if (!m_file.open(QIODevice::ReadWrite))
        return end(QStringLiteral("%1: %2").arg(m_file.fileName(), m_file.errorString()));
    if (m_file.size() > m_source.size && !startOver())
        return;
    const QString lack = lackOfSpace(QFileInfo(m_file).path(), m_source.size - m_file.size());
    if (!lack.isEmpty())
        return end(lack);
    hashSlice();
}

// Hashes the part already downloaded, slice by slice: a big file does not block the thread.
void PackageDownload::hashSlice()
{
    const QByteArray slice = m_file.read(4 * Slice);
    if (slice.isEmpty()) {
        if (m_received == m_source.size)
            verify();
        else
            request();
        return;
    }
    m_hash.addData(slice);
    m_received += slice.size();
    QTimer::singleShot(0, this, &PackageDownload::hashSlice);
}

void PackageDownload::request()
{
    QNetworkRequest request(m_source.url);
    const bool isSafe = m_source.url.scheme() == QLatin1String("https");
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, isSafe ? QNetworkRequest::NoLessSafeRedirectPolicy
                                                                          : QNetworkRequest::SameOriginRedirectPolicy);
    request.setRawHeader("Accept-Encoding", "identity"); // sizes and ranges are those of the package
    if (m_received > 0 && !m_source.url.isLocalFile())
        request.setRawHeader("Range", "bytes=" + QByteArray::number(m_received) + '-');
    m_headersTaken = false;
    m_announced = 0;
    m_receivedBefore = m_received;
    m_reply = m_network->get(request);
    m_reply->setReadBufferSize(Slice);
    connect(m_reply, &QNetworkReply::readyRead, this, &PackageDownload::read);
    connect(m_reply, &QNetworkReply::finished, this, &PackageDownload::read);
    m_idle.start();
}

void PackageDownload::read()
{
    if (!m_reply || m_readSoon.isActive())
        return;
    m_idle.start();
    if (!takeHeaders())
        return;
    const int status = statusOf(*m_reply);
    const bool isPackage = status == 0 || status == 200 || status == 206;
    while (m_reply->bytesAvailable() > 0) {
        const qint64 wanted = std::min(m_reply->bytesAvailable(), Slice);
        const qint64 granted = isPackage ? m_throttle->take(wanted) : wanted;
        if (granted == 0) {
            m_readSoon.start();
            return;
        }
        const QByteArray data = m_reply->read(granted);
        if (data.isEmpty() || (isPackage && !store(data)))
            break;
    }
    if (m_reply && m_reply->isFinished())
        conclude();
}

// False when the download has ended here.
bool PackageDownload::takeHeaders()
{
    const int status = statusOf(*m_reply);
    if (m_headersTaken || (status == 0 && !m_source.url.isLocalFile()))
        return true;
    m_headersTaken = true;
    if (m_received > 0 && (status == 206 ? firstByte(*m_reply) != m_received : status == 200 || status == 0)) {
        if (status == 206) {
            tryAgain(QStringLiteral("the server answered with another part of the file"));
            return false;
        }
        if (!startOver())
            return false;
    }
    const qint64 length = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    m_announced = length > 0 ? m_received + length : 0;
    return true;
}

// False when the download has ended here.
bool PackageDownload::store(const QByteArray &data)
{
    if (m_received + data.size() > m_source.size) {
        end(QStringLiteral("the server sends more than the %1 bytes of the package").arg(m_source.size));
        return false;
    }
    const QString lack = lackOfSpace(QFileInfo(m_file).path(), data.size());
    if (!lack.isEmpty()) {
        end(lack);
        return false;
    }
    if (m_file.write(data) != data.size() || !m_file.flush()) {
        end(QStringLiteral("%1: %2").arg(m_file.fileName(), m_file.errorString()));
        return false;
    }
    m_hash.addData(data);
    m_received += data.size();
    return true;
}

void PackageDownload::conclude()
{
    const QNetworkReply::NetworkError error = m_reply->error();
    const QString reason = m_reply->errorString();
    if (error == QNetworkReply::NoError && m_received < m_announced)
        return tryAgain(QStringLiteral("the connection broke")); // Qt reports no error then
    if (error == QNetworkReply::NoError) {
        dropReply();
        if (m_received < m_source.size)
            return end(QStringLiteral("the server has %1 bytes instead of %2")
                           .arg(QString::number(m_received), QString::number(m_source.size)));
        return verify();
    }
    if (isFinal(*m_reply))
        return end(reason);
    if (statusOf(*m_reply) == 416 && !startOver()) // the server's file does not contain the part already downloaded
        return;
    tryAgain(reason);
}

void PackageDownload::tryAgain(const QString &reason)
{
    dropReply();
    m_vainAttempts = m_received > m_receivedBefore ? 1 : m_vainAttempts + 1;
    if (m_vainAttempts > MaxVainAttempts)
        return end(reason);
    const int delay = std::min(FirstDelayMs << m_vainAttempts, LongestDelayMs);
    QTimer::singleShot(delay, this, &PackageDownload::request);
}

// False when the download has ended here.
bool PackageDownload::startOver()
{
    m_hash.reset();
    m_received = 0;
    if (m_file.resize(0) && m_file.seek(0))
        return true;
    end(QStringLiteral("%1: %2").arg(m_file.fileName(), m_file.errorString()));
    return false;
}

void PackageDownload::verify()
{
    const QString sum = QString::fromLatin1(m_hash.result().toHex());
    if (sum == m_source.sha256.toLower())
        return end(syncToDisk(m_file.fileName()) ? QString()
                                                 : QStringLiteral("%1: %2").arg(m_file.fileName(), systemError()));
    m_file.remove();
    end(QStringLiteral("the checksum is wrong: %1 instead of %2").arg(sum, m_source.sha256));
}

void PackageDownload::end(const QString &error)
{
    if (m_ended)
        return;
    m_ended = true;
    dropReply();
    m_file.close();
    emit finished(error);
}

void PackageDownload::dropReply()
{
    m_idle.stop();
    m_readSoon.stop();
    if (!m_reply)
        return;
    m_reply->disconnect(this);
    m_reply->abort();
    m_reply->deleteLater();
    m_reply.clear();
}

} // namespace tarn::services
