#include "e2e/Session.h"
#include "support/Screenshot.h"
#include "support/XClients.h"
#include "support/XInput.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

const QString Role = QStringLiteral("CMsgCenterDlg");
constexpr int PatienceMs = 20000;
constexpr QPoint FirstCard(300, 172); // in the window, below the card's text
constexpr QRgb CardGround = 0xfffdfcfc, SelectedGround = 0xffebf4fe;
constexpr uint32_t KeyReturn = 0xff0d, KeyDown = 0xff54, KeyDelete = 0xffff, KeyEscape = 0xff1b;

// The colour of the first card, which tells whether it is painted and selected.
QRgb groundOf(const XClient &window)
{
    const QImage picture = screenshot::window(window.id);
    return picture.rect().contains(FirstCard) ? picture.pixel(FirstCard) | 0xff000000 : 0;
}

QStringList words(std::initializer_list<const char *> list)
{
    QStringList result;
    for (const char *word : list)
        result.append(QString::fromUtf8(word));
    return result;
}

} // namespace

// Messages of the real service in the real window, worked on with mouse and keys, and what is then stored.
class TestMessageCenterJob final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void readAndDeletedByTheUser();
    void cleanupTestCase();

private:
    QString push(const QString &id);
    XClient openCenter();
    void closeCenter(const XClient &window);
    QJsonObject stored(const QString &id);
    bool isUnread(const QString &id) { return stored(id).value(QStringLiteral("unRead")).toBool(); }

    Session m_session;
    XInput m_input;
};

void TestMessageCenterJob::initTestCase()
{
    QVERIFY(m_input.isValid());
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
}

// Takes the notice away again: it is not what this is about.
QString TestMessageCenterJob::push(const QString &id)
{
    const QString stored = m_session.push({QStringLiteral("--id"), id});
    XClient notice;
    if (QTest::qWaitFor([&] { return !(notice = xclients::byRole(QStringLiteral("NotifyWnd"))).isNull(); }, PatienceMs))
        xclients::requestClose(notice.id);
    (void)QTest::qWaitFor([] { return xclients::byRole(QStringLiteral("NotifyWnd")).isNull(); }, PatienceMs);
    return stored;
}

XClient TestMessageCenterJob::openCenter()
{
    const Session::Result answer =
        m_session.tarnctl(words({"call", "ShowMessageCenter", R"({"msg_center_rect":{"$rect":[300,200,1000,700]}})"}));
    XClient window;
    const auto isPainted = [&] {
        window = xclients::byRole(Role);
        return !window.isNull() && groundOf(window) == CardGround;
    };
    return answer.exitCode == 0 && QTest::qWaitFor(isPainted, PatienceMs) ? window : XClient();
}

void TestMessageCenterJob::closeCenter(const XClient &window)
{
    xclients::requestClose(window.id);
    QTRY_VERIFY_WITH_TIMEOUT(xclients::byRole(Role).isNull(), PatienceMs);
}

QJsonObject TestMessageCenterJob::stored(const QString &id)
{
    for (const QJsonValue &value : m_session.tarnctl(words({"message", "list", "--all", "--json"})).json().toArray()) {
        if (value.toObject().value(QStringLiteral("MsgId")).toString() == id)
            return value.toObject();
    }
    return {};
}

void TestMessageCenterJob::readAndDeletedByTheUser()
{
    const QStringList ids = words({"oldest", "middle", "newest"});
    for (const QString &id : ids)
        QCOMPARE(push(id), id);
    const XClient window = openCenter();
    QVERIFY(!window.isNull());
    const QPoint middle = window.geometry.center();
    QVERIFY(qAbs(middle.x() - 800) <= 2 && qAbs(middle.y() - 550) <= 2);

    const QPoint card = window.geometry.topLeft() + FirstCard;
    m_input.click(card.x(), card.y());
    QTRY_COMPARE_WITH_TIMEOUT(xclients::focused().id, window.id, PatienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(groundOf(window), SelectedGround, PatienceMs);
    m_input.key(KeyReturn); // opens the newest, which reads it
    QTRY_VERIFY_WITH_TIMEOUT(!isUnread(QStringLiteral("newest")), PatienceMs);
    QVERIFY(isUnread(QStringLiteral("middle")));
    QCOMPARE(stored(QStringLiteral("newest")).value(QStringLiteral("receipts")).toArray().size(), 1);

    m_input.key(KeyDown);
    m_input.key(KeyDelete);
    const auto listed = [this] {
        QStringList result;
        for (const QJsonValue &value : m_session.tarnctl(words({"message", "list", "--json"})).json().toArray())
            result.append(value.toObject().value(QStringLiteral("MsgId")).toString());
        return result;
    };
    QTRY_COMPARE_WITH_TIMEOUT(listed(), words({"newest", "oldest"}), PatienceMs);
    m_input.key(KeyEscape);
    QVERIFY(!xclients::byRole(Role).isNull());

    // Reading all reports the deleted one, too; it stays deleted.
    const QPoint readAll = window.geometry.topRight() + QPoint(-50, 62);
    m_input.click(readAll.x(), readAll.y());
    QTRY_VERIFY_WITH_TIMEOUT(!isUnread(QStringLiteral("oldest")), PatienceMs);
    QCOMPARE(listed(), words({"newest", "oldest"}));
    closeCenter(window);
    QVERIFY(m_session.hostRuns());
}

void TestMessageCenterJob::cleanupTestCase()
{
    QCOMPARE(m_session.stopHost(), 0);
}

QTEST_GUILESS_MAIN(TestMessageCenterJob)
#include "tst_message_center.moc"
