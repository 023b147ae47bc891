#include "services/PackageDownload.h"
#include "services/Files.h"
#include <QFileInfo>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <algorithm>

namespace tarn::services {

namespace {

constexpr int IdleMs = 20000;
constexpr int MaxVainAttempts = 6;
constexpr int FirstDelayMs = 250; // doubled with every attempt in vain
constexpr int LongestDelayMs = 8000;
constexpr qint64 Slice = 256 * 1024; // bytes read at once

// A failure that another attempt may not meet.
struct Broken : Failure
{
    using Failure::Failure;
};

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

Failure fileFailure(const QFile &file)
{
    return Failure(QStringLiteral("%1: %2").arg(file.fileName(), file.errorString()));
}

} // namespace

PackageDownload::PackageDownload(const UpgradeItem &package, const QString &file, QNetworkAccessManager *network,
                                 Throttle *throttle, QObject *parent)
    : QObject(parent)
    , m_package(package)
    , m_url(package.url)
    , m_file(file)
    , m_network(network)
    , m_throttle(throttle)
{
    m_idle.setSingleShot(true);
    m_idle.setInterval(IdleMs);
    connect(&m_idle, &QTimer::timeout, this, [this] { tryAgain(QStringLiteral("the server does not answer")); });
    m_readSoon.setSingleShot(true);
    m_readSoon.setInterval(Throttle::WaitMs);
    connect(&m_readSoon, &QTimer::timeout, this, &PackageDownload::read);
}

PackageDownload::~PackageDownload()
{
    dropReply();
}

void PackageDownload::step(const std::function<void()> &work)
{
    try {
        work();
    } catch (const Broken &broken) {
        tryAgain(broken.text());
    } catch (const Failure &failure) {
        end(failure.text());
    }
}

void PackageDownload::start()
{
    step([this] { open(); });
}

void PackageDownload::open()
{
    if (!isAllowed(m_url))
        throw Failure(QStringLiteral("address not supported, expected https or a local file: %1")
                          .arg(m_url.toString().left(300)));
    if (m_url.isLocalFile() && !QFileInfo(m_url.toLocalFile()).isFile())
        throw Failure(QStringLiteral("%1 is no file").arg(m_url.toLocalFile()));
    if (!m_file.open(QIODevice::ReadWrite))
        throw fileFailure(m_file);
    if (m_file.size() > m_package.size)
        startOver();
    requireSpace(QFileInfo(m_file).path(), m_package.size - m_file.size());
    hashSlice();
}

// Hashes the part already downloaded, slice by slice: a big file does not block the thread.
void PackageDownload::hashSlice()
{
    const QByteArray slice = m_file.read(4 * Slice);
    m_hash.addData(slice);
    m_received += slice.size();
    if (!slice.isEmpty())
        QTimer::singleShot(0, this, &PackageDownload::hashSlice);
    else if (m_received == m_package.size)
        step([this] { verify(); });
    else
        request();
}

void PackageDownload::request()
{
    QNetworkRequest request(m_url);
    const bool isSafe = m_url.scheme() == QLatin1String("https");
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, isSafe ? QNetworkRequest::NoLessSafeRedirectPolicy
                                                                          : QNetworkRequest::SameOriginRedirectPolicy);
    request.setRawHeader("Accept-Encoding", "identity"); // sizes and ranges are those of the package
    if (m_received > 0 && !m_url.isLocalFile())
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
    if (m_reply && !m_readSoon.isActive())
        step([this] { readReply(); });
}

void PackageDownload::readReply()
{
    m_idle.start();
    takeHeaders();
    const int status = statusOf(*m_reply);
    const bool isPackage = status == 0 || status == 200 || status == 206;
    while (m_reply->bytesAvailable() > 0) {
        const qint64 wanted = std::min(m_reply->bytesAvailable(), Slice);
        const qint64 granted = isPackage ? m_throttle->take(wanted) : wanted;
        if (granted == 0)
            return m_readSoon.start();
        const QByteArray data = m_reply->read(granted);
        if (data.isEmpty())
            break;
        if (isPackage)
            store(data);
    }
    if (m_reply->isFinished())
        conclude();
}

void PackageDownload::takeHeaders()
{
    const int status = statusOf(*m_reply);
    if (m_headersTaken || (status == 0 && !m_url.isLocalFile()))
        return;
    m_headersTaken = true;
    if (m_received > 0 && status == 206 && firstByte(*m_reply) != m_received)
        throw Broken(QStringLiteral("the server answered with another part of the file"));
    if (m_received > 0 && (status == 200 || status == 0))
        startOver();
    const qint64 length = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    m_announced = length > 0 ? m_received + length : 0;
}

void PackageDownload::store(const QByteArray &data)
{
    if (m_received + data.size() > m_package.size)
        throw Failure(QStringLiteral("the server sends more than the %1 bytes of the package").arg(m_package.size));
    requireSpace(QFileInfo(m_file).path(), data.size());
    if (m_file.write(data) != data.size() || !m_file.flush())
        throw fileFailure(m_file);
    m_hash.addData(data);
    m_received += data.size();
}

void PackageDownload::conclude()
{
    const QString reason = m_reply->errorString();
    if (m_reply->error() != QNetworkReply::NoError) {
        if (isFinal(*m_reply))
            throw Failure(reason);
        if (statusOf(*m_reply) == 416) // the server's file does not contain the part already downloaded
            startOver();
        throw Broken(reason);
    }
    if (m_received < m_announced)
        throw Broken(QStringLiteral("the connection broke")); // Qt reports no error then
    if (m_received < m_package.size)
        throw Failure(QStringLiteral("the server has %1 bytes instead of %2")
                          .arg(QString::number(m_received), QString::number(m_package.size)));
    verify();
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

void PackageDownload::startOver()
{
    m_hash.reset();
    m_received = 0;
    if (!m_file.resize(0) || !m_file.seek(0))
        throw fileFailure(m_file);
}

void PackageDownload::verify()
{
    const QString sum = QString::fromLatin1(m_hash.result().toHex());
    if (sum != m_package.sha256.toLower()) {
        m_file.remove();
        throw Failure(QStringLiteral("the checksum is wrong: %1 instead of %2").arg(sum, m_package.sha256));
    }
    syncToDisk(m_file.fileName());
    end({});
}

void PackageDownload::end(const QString &error)
{
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
