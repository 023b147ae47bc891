// notify_sender: sends a notice to the desktop's notification daemon over a connected bus. Orders:
//   show TITLE    (the rest of the line) answers with the CLOCK_MONOTONIC nanoseconds of the sending
//   hide          closes the notice; "ok"

#include "Latencies.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QVariantMap>

#include <iostream>

namespace {

const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Path = QStringLiteral("/org/freedesktop/Notifications");

QDBusMessage notice(const QString &title)
{
    QDBusMessage message = QDBusMessage::createMethodCall(Service, Path, Service, QStringLiteral("Notify"));
    message.setArguments(
        {QStringLiteral("bench"), 0U, QString(), title, QStringLiteral("正文"), QStringList(), QVariantMap(), 0});
    return message;
}

void close(uint id)
{
    QDBusMessage message = QDBusMessage::createMethodCall(Service, Path, Service, QStringLiteral("CloseNotification"));
    message.setArguments({id});
    QDBusConnection::sessionBus().call(message);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        std::cerr << "notify_sender: no session bus\n";
        return 1;
    }
    uint id = 0;
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "hide") {
            close(id);
            std::cout << "ok" << std::endl;
            continue;
        }
        const QDBusMessage message = notice(QString::fromStdString(line.substr(line.find(' ') + 1)));
        const int64_t sent = Latencies::now();
        QDBusPendingReply<uint> reply = bus.asyncCall(message);
        reply.waitForFinished();
        id = reply.isValid() ? reply.value() : 0;
        std::cout << (reply.isValid() ? sent : 0) << std::endl;
    }
    return 0;
}
