#pragma once
#include "services/UpgradeTask.h"
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <functional>

class QNetworkAccessManager;
class QNetworkReply;

namespace tarn::services {

/// Shares a bandwidth among downloads. One thread.
class Throttle
{
public:
    static constexpr int WaitMs = 20;

    /// @param bytesPerSecond 0 for no limit
    explicit Throttle(qint64 bytesPerSecond)
        : m_rate(bytesPerSecond)
    {
        m_refilled.start();
    }

    /// How many of the wanted bytes may be read now; 0: ask again after WaitMs.
    qint64 take(qint64 wanted)
    {
        if (m_rate <= 0)
            return wanted;
        const qint64 earned = m_rate * std::min<qint64>(m_refilled.elapsed(), 1000) / 1000;
        if (earned > 0) {
            m_refilled.restart();
            m_allowance = std::min(m_allowance + earned, std::max<qint64>(m_rate / 10, 1)); // a tenth of a second
        }
        const qint64 granted = std::min(wanted, m_allowance);
        m_allowance -= granted;
        return granted;
    }

private:
    const qint64 m_rate;
    qint64 m_allowance = 0;
    QElapsedTimer m_refilled;
};

/// Downloads one package into a file, which is on the disk when finished() reports success. A part already downloaded is
/// kept and only the rest requested; after a broken connection it continues. It stops before the reserve of free space is
/// used up. Addresses are https, file, or http of this machine. One thread with an event loop.
class PackageDownload final : public QObject
{
    Q_OBJECT
public:
    PackageDownload(const UpgradeItem &package, const QString &file, QNetworkAccessManager *network, Throttle *throttle,
                    QObject *parent);
    ~PackageDownload() override;

    void start();

signals:
    /// @param error empty when the file is complete and has the right checksum; it is removed when it has a wrong one
    void finished(QString error);

private:
    /// Runs a step; its Failure ends the download, unless another attempt can help.
    void step(const std::function<void()> &work);
    void open();
    void hashSlice();
    void request();
    void read();
    void readReply();
    void takeHeaders();
    void store(const QByteArray &data);
    void conclude();
    void tryAgain(const QString &reason);
    void startOver();
    void verify();
    void end(const QString &error);
    void dropReply();

    const UpgradeItem m_package;
    const QUrl m_url;
    QFile m_file;
    QNetworkAccessManager *const m_network;
    Throttle *const m_throttle;
    QPointer<QNetworkReply> m_reply;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    QTimer m_idle;     ///< the server has sent nothing
    QTimer m_readSoon; ///< the bandwidth is used up for now
    qint64 m_received = 0;
    qint64 m_announced = 0;      ///< the size that the running answer announces, 0 when it announces none
    qint64 m_receivedBefore = 0; ///< at the start of the running attempt
    int m_vainAttempts = 0;      ///< in a row
    bool m_headersTaken = false;
};

} // namespace tarn::services
