#pragma once
#include <QCryptographicHash>
#include <QFile>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

namespace tarn::services {

class Throttle;

/// Where a package comes from and what it must be.
struct PackageSource
{
    QUrl url; ///< http, https or file
    QString sha256;
    qint64 size = 0; ///< bytes; 0 if it is not known
};

/// Downloads one package into a file. What the file holds already is kept and only the rest is asked for; a broken
/// connection is taken up again. One thread, which may be busy with other things in between.
class PackageDownload final : public QObject
{
    Q_OBJECT
public:
    PackageDownload(PackageSource source, const QString &file, QNetworkAccessManager *network, Throttle *throttle,
                    QObject *parent);
    ~PackageDownload() override;

    qint64 received() const { return m_received; }
    qint64 total() const { return m_total; } ///< 0 while it is not known

    void start();

signals:
    /// @param error empty when the file is complete and has the right checksum; it is removed when it has a wrong one
    void finished(QString error);

private:
    void hashSlice();
    void request();
    void read();
    bool takeHeaders();
    bool store(const QByteArray &data);
    void conclude();
    void tryAgain(const QString &reason);
    bool startOver();
    void verify();
    void end(const QString &error);
    void dropReply();

    const PackageSource m_source;
    QFile m_file;
    QNetworkAccessManager *const m_network;
    Throttle *const m_throttle;
    QPointer<QNetworkReply> m_reply;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    QTimer m_idle;     ///< the server says nothing
    QTimer m_readSoon; ///< the bandwidth is used up for now
    qint64 m_received = 0;
    qint64 m_total = 0;
    qint64 m_announced = 0;      ///< where the running answer is to end, 0 if it does not say
    qint64 m_receivedBefore = 0; ///< at the start of the running attempt
    int m_vainAttempts = 0;      ///< in a row
    bool m_headersTaken = false;
    bool m_ended = false;
};

} // namespace tarn::services
