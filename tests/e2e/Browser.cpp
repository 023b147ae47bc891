#include "e2e/Browser.h"

#include <QDir>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

namespace {

constexpr int StartMs = 30000;
constexpr int CommandMs = 60000;

QStringList chromiumArguments(const QString &directory)
{
    return {QStringLiteral("--headless"),
            QStringLiteral("--no-sandbox"), // as root in a container
            QStringLiteral("--disable-gpu"),
            QStringLiteral("--disable-dev-shm-usage"),
            QStringLiteral("--disable-quic"),
            QStringLiteral("--no-first-run"),
            QStringLiteral("--no-proxy-server"),
            QStringLiteral("--disable-background-networking"),
            QStringLiteral("--disable-component-update"),
            QStringLiteral("--disable-sync"),
            QStringLiteral("--user-data-dir=%1/profile").arg(directory)};
}

} // namespace

Browser::Browser(const QString &directory)
    : m_directory(directory)
{
    m_network.setProxy(QNetworkProxy::NoProxy);
}

Browser::~Browser()
{
    if (!m_session.isEmpty())
        command("DELETE", m_session);
    m_driver.terminate();
    if (m_driver.state() != QProcess::NotRunning && !m_driver.waitForFinished(StartMs))
        m_driver.kill();
    m_driver.waitForFinished();
}

bool Browser::isInstalled()
{
    return !QStandardPaths::findExecutable(QStringLiteral("chromium")).isEmpty() &&
           !QStandardPaths::findExecutable(QStringLiteral("chromedriver")).isEmpty();
}

bool Browser::startDriver()
{
    QDir().mkpath(m_directory);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_directory);
    environment.insert(QStringLiteral("TMPDIR"), m_directory);
    m_driver.setProcessEnvironment(environment);
    m_driver.start(QStringLiteral("chromedriver"), {QStringLiteral("--port=0")});
    const QRegularExpression started(QStringLiteral("started successfully on port (\\d+)"));
    QString output;
    const bool up = m_driver.waitForStarted() && QTest::qWaitFor(
                                                     [&] {
                                                         output += QString::fromUtf8(m_driver.readAll());
                                                         return output.contains(started);
                                                     },
                                                     StartMs);
    m_error = up ? QString() : QStringLiteral("chromedriver did not start: %1").arg(output);
    m_address = QStringLiteral("http://127.0.0.1:%1").arg(started.match(output).captured(1));
    return up;
}

bool Browser::start()
{
    if (!startDriver())
        return false;
    const QJsonObject options{{QStringLiteral("args"), QJsonArray::fromStringList(chromiumArguments(m_directory))}};
    const QJsonObject wanted{{QStringLiteral("goog:chromeOptions"), options}};
    const QJsonObject session =
        command("POST", QStringLiteral("/session"),
                {{QStringLiteral("capabilities"), QJsonObject{{QStringLiteral("alwaysMatch"), wanted}}}})
            .toObject();
    const QString id = session.value(QStringLiteral("sessionId")).toString();
    if (!id.isEmpty())
        m_session = QStringLiteral("/session/") + id;
    return !id.isEmpty();
}

// Returns the command's value; undefined when it failed, and errorText() has the reason.
QJsonValue Browser::command(const QByteArray &verb, const QString &path, const QJsonObject &body)
{
    QNetworkRequest request(QUrl(m_address + path));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setTransferTimeout(CommandMs);
    const QByteArray json = verb == "POST" ? QJsonDocument(body).toJson(QJsonDocument::Compact) : QByteArray();
    const std::unique_ptr<QNetworkReply> reply(m_network.sendCustomRequest(request, verb, json));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    const QByteArray answer = reply->readAll();
    m_error.clear();
    if (reply->error() == QNetworkReply::NoError)
        return QJsonDocument::fromJson(answer).object().value(QStringLiteral("value"));
    m_error = reply->errorString() + QLatin1Char(' ') + QString::fromUtf8(answer);
    return QJsonValue(QJsonValue::Undefined);
}

bool Browser::did(const QByteArray &verb, const QString &path, const QJsonObject &body)
{
    command(verb, m_session + path, body);
    return m_error.isEmpty();
}

bool Browser::open(const QUrl &url)
{
    return did("POST", QStringLiteral("/url"), {{QStringLiteral("url"), url.toString()}});
}

bool Browser::openTab(const QUrl &url)
{
    const QJsonObject tab =
        command("POST", m_session + QStringLiteral("/window/new"), {{QStringLiteral("type"), QStringLiteral("tab")}})
            .toObject();
    return did("POST", QStringLiteral("/window"),
               {{QStringLiteral("handle"), tab.value(QStringLiteral("handle")).toString()}}) &&
           open(url);
}

bool Browser::goToTab(int number)
{
    const QJsonArray tabs = command("GET", m_session + QStringLiteral("/window/handles")).toArray();
    return did("POST", QStringLiteral("/window"), {{QStringLiteral("handle"), tabs.at(number).toString()}});
}

QString Browser::element(const QString &selector)
{
    const QJsonObject found =
        command("POST", m_session + QStringLiteral("/element"),
                {{QStringLiteral("using"), QStringLiteral("css selector")}, {QStringLiteral("value"), selector}})
            .toObject();
    return found.isEmpty() ? QString() : QStringLiteral("/element/") + found.constBegin().value().toString();
}

QString Browser::text(const QString &selector)
{
    const QString found = element(selector);
    return found.isEmpty() ? QString() : command("GET", m_session + found + QStringLiteral("/text")).toString();
}

QString Browser::attribute(const QString &selector, const QString &name)
{
    const QString found = element(selector);
    return found.isEmpty() ? QString()
                           : command("GET", m_session + found + QStringLiteral("/attribute/") + name).toString();
}

bool Browser::click(const QString &selector)
{
    const QString found = element(selector);
    return !found.isEmpty() && did("POST", found + QStringLiteral("/click"));
}

bool Browser::type(const QString &selector, const QString &text)
{
    const QString found = element(selector);
    return !found.isEmpty() && did("POST", found + QStringLiteral("/value"), {{QStringLiteral("text"), text}});
}
