#include "services/cloud/PeerUser.h"
#include <QByteArray>
#include <QFile>
#include <QList>
#include <arpa/inet.h>

namespace tarn::services {

namespace {

constexpr char Established[] = "01";

// As the tables write it: the address as a number of this machine, the port as one to read.
QByteArray tableAddress(const sockaddr_in &address, const QByteArray &prefix)
{
    return prefix + QByteArray::number(address.sin_addr.s_addr, 16).rightJustified(8, '0').toUpper() + ':' +
           QByteArray::number(ntohs(address.sin_port), 16).rightJustified(4, '0').toUpper();
}

std::optional<uid_t> find(const QString &table, const QByteArray &from, const QByteArray &to)
{
    constexpr int Local = 1;
    constexpr int Remote = 2;
    constexpr int State = 3;
    constexpr int User = 7;
    QFile file(table);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (QByteArray line = file.readLine(); !line.isEmpty(); line = file.readLine()) {
        const QList<QByteArray> columns = line.simplified().split(' ');
        bool valid = columns.size() > User && columns.at(Local) == from && columns.at(Remote) == to &&
                     columns.at(State) == Established;
        const uid_t user = valid ? columns.at(User).toUInt(&valid) : 0;
        if (valid)
            return user;
    }
    return std::nullopt;
}

} // namespace

std::optional<uid_t> userOfPeer(const sockaddr_in &from, const sockaddr_in &to)
{
    const QByteArray mapped =
        QByteArray(16, '0') + QByteArray::number(htonl(0xffff), 16).rightJustified(8, '0').toUpper();
    std::optional<uid_t> user;
    for (int attempt = 0; !user && attempt < 2; ++attempt) { // a row can be missed while others come and go
        user = find(QStringLiteral("/proc/net/tcp"), tableAddress(from, {}), tableAddress(to, {}));
        if (!user)
            user = find(QStringLiteral("/proc/net/tcp6"), tableAddress(from, mapped), tableAddress(to, mapped));
    }
    return user;
}

} // namespace tarn::services
