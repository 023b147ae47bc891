#include "services/PackageDownload.h"
#include "services/Files.h"
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <algorithm>
#include <memory>

namespace tarn::services {

namespace {

constexpr int IdleMs = 20000;
constexpr int TickMs = 20; // between two looks at the stop flag and at the bandwidth
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

class PackageDownload
{
public:
    PackageDownload(const UpgradeItem &package, Throttle *throttle, const std::atomic<bool> &stopping)
        : m_package(package)
        , m_url(package.url)
        , m_file(partOf(package.file))
        , m_throttle(throttle)
        , m_stopping(stopping)
    {
    }

    void run()
    {
        open();
        QObject::connect(&m_tick, &QTimer::timeout, &m_loop, &QEventLoop::quit);
        m_tick.start(TickMs);
        int vainAttempts = 0; // in a row
        while (m_received < m_package.size) {
            const qint64 before = m_received;
            try {
                request();
            } catch (const Broken &) {
                vainAttempts = m_received > before ? 1 : vainAttempts + 1;
                if (vainAttempts > MaxVainAttempts)
                    throw;
                QElapsedTimer pause;
                for (pause.start(); !pause.hasExpired(std::min(FirstDelayMs << vainAttempts, LongestDelayMs));)
                    wait();
            }
        }
        verify();
    }

private:
    void demand(bool success) const
    {
        if (!success)
            throw Failure(QStringLiteral("%1: %2").arg(m_file.fileName(), m_file.errorString()));
    }

    // Lets the network work until the reply has news or the next tick comes.
    void wait()
    {
        m_loop.exec();
        requireGoing();
    }

    void requireGoing() const { failIf(m_stopping, QStringLiteral("the download was cancelled")); }

    void open()
    {
        failIf(!isAllowed(m_url), QStringLiteral("address not supported, expected https or a local file: %1")
                                      .arg(m_url.toString().left(300)));
        failIf(m_url.isLocalFile() && !QFileInfo(m_url.toLocalFile()).isFile(),
               QStringLiteral("%1 is no file").arg(m_url.toLocalFile()));
        demand(m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        if (m_file.size() > m_package.size)
            startOver();
        m_received = m_file.size();
        demand(m_file.seek(m_received));
        requireSpace(QFileInfo(m_file).path(), m_package.size - m_received);
    }

    void request()
    {
        QNetworkRequest request(m_url);
        const bool isSafe = m_url.scheme() == QLatin1String("https");
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, isSafe
                                                                           ? QNetworkRequest::NoLessSafeRedirectPolicy
                                                                           : QNetworkRequest::SameOriginRedirectPolicy);
        request.setRawHeader("Accept-Encoding", "identity"); // sizes and ranges are those of the package
        if (m_received > 0 && !m_url.isLocalFile())
            request.setRawHeader("Range", "bytes=" + QByteArray::number(m_received) + '-');
        const std::unique_ptr<QNetworkReply> reply(m_network.get(request));
        reply->setReadBufferSize(Slice);
        QObject::connect(reply.get(), &QNetworkReply::readyRead, &m_loop, &QEventLoop::quit);
        QObject::connect(reply.get(), &QNetworkReply::finished, &m_loop, &QEventLoop::quit);
        read(reply.get());
        const QString reason = reply->errorString();
        if (reply->error() != QNetworkReply::NoError) {
            failIf(isFinal(*reply), reason);
            if (statusOf(*reply) == 416) // the server's file does not contain the part already downloaded
                startOver();
            throw Broken(reason);
        }
        if (m_received < m_announced)
            throw Broken(QStringLiteral("the connection broke")); // Qt reports no error then
        failIf(m_received < m_package.size, QStringLiteral("the server has %1 bytes instead of %2")
                                                .arg(QString::number(m_received), QString::number(m_package.size)));
    }

    void read(QNetworkReply *reply)
    {
        QElapsedTimer idle;
        idle.start();
        m_announced = 0;
        bool hasHeaders = false;
        while (!reply->isFinished() || reply->bytesAvailable() > 0) {
            const int status = statusOf(*reply);
            const bool isAnswer = status != 0 && status / 100 != 3; // Qt follows redirects
            if (!hasHeaders && (isAnswer || (m_url.isLocalFile() && reply->bytesAvailable() > 0))) {
                hasHeaders = true;
                takeHeaders(*reply);
            }
            const bool isPackage = status == 0 || status == 200 || status == 206;
            const qint64 available = std::min(reply->bytesAvailable(), Slice);
            const qint64 granted = isPackage && available > 0 ? m_throttle->take(available) : available;
            const QByteArray data = reply->read(granted);
            if (isPackage)
                store(data);
            if (!data.isEmpty() || granted < available)
                idle.start();
            if (data.isEmpty())
                wait();
            if (idle.hasExpired(IdleMs))
                throw Broken(QStringLiteral("the server does not answer"));
        }
    }

    void takeHeaders(const QNetworkReply &reply)
    {
        const int status = statusOf(reply);
        const QByteArray range = "bytes " + QByteArray::number(m_received) + '-';
        if (m_received > 0 && status == 206 && !reply.rawHeader("Content-Range").trimmed().startsWith(range)) {
            startOver();
            throw Broken(QStringLiteral("the server answered with another part of the file"));
        }
        if (m_received > 0 && (status == 200 || status == 0)) // the whole file
            startOver();
        const qint64 length = reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
        m_announced = length > 0 ? m_received + length : 0;
    }

    void store(const QByteArray &data)
    {
        requireGoing();
        failIf(m_received + data.size() > m_package.size,
               QStringLiteral("the server sends more than the %1 bytes of the package").arg(m_package.size));
        requireSpace(QFileInfo(m_file).path(), data.size());
        demand(m_file.write(data) == data.size());
        m_received += data.size();
    }

    void startOver()
    {
        m_received = 0;
        demand(m_file.resize(0) && m_file.seek(0));
    }

    void verify()
    {
        try {
            requireChecksum(&m_file, m_package.sha256, m_stopping);
        } catch (const WrongChecksum &) {
            m_file.remove();
            throw;
        }
        syncToDisk(m_file.fileName());
    }

    const UpgradeItem m_package;
    const QUrl m_url;
    QFile m_file;
    Throttle *const m_throttle;
    const std::atomic<bool> &m_stopping;
    QEventLoop m_loop;
    QTimer m_tick;
    QNetworkAccessManager m_network;
    qint64 m_received = 0;
    qint64 m_announced = 0; ///< the size that the running answer announces, 0 when it announces none
};

} // namespace

qint64 Throttle::take(qint64 wanted)
{
    if (m_rate <= 0)
        return wanted;
    const QMutexLocker locker(&m_lock);
    const qint64 earned = m_rate * std::min<qint64>(m_refilled.elapsed(), 1000) / 1000;
    if (earned > 0) {
        m_refilled.restart();
        m_allowance = std::min(m_allowance + earned, std::max<qint64>(m_rate / 10, 1)); // a tenth of a second
    }
    const qint64 granted = std::min(wanted, m_allowance);
    m_allowance -= granted;
    return granted;
}

void downloadPackage(const UpgradeItem &package, Throttle *throttle, const std::atomic<bool> &stopping)
{
    PackageDownload(package, throttle, stopping).run();
    failIf(!QFile::rename(partOf(package.file), package.file),
           QStringLiteral("%1 cannot be written").arg(package.file));
    syncToDisk(QFileInfo(package.file).path());
}

} // namespace tarn::services
