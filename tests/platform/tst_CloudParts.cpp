// The pieces of the cloud account service, on a clock that the test sets.
#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/QrTickets.h"
#include "services/cloud/RememberedSignIn.h"
#include "support/LogCatcher.h"
#include "support/Packages.h"
#include <QTest>

using namespace tarn::services;

namespace {

constexpr qint64 Second = 1000;
constexpr qint64 Minute = 60 * Second;
const QString Phone = QStringLiteral("13800000001");
const QString Other = QStringLiteral("13800000002");
const QString Expired = QStringLiteral("动态密码已失效，请重新获取");

} // namespace

class TestCloudParts final : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void codesExpire();
    void codesCountTries();
    void triesAreLimitedADay();
    void codesAreOneAMinute();
    void passwordsAreSalted();
    void ticketsExpire();
    void rememberedDataAreUnreadable();
    void badKeysCountAsNone();

private:
    void open();
    QString send(const QString &phone = Phone) { return m_codes->send(phone); }
    QString check(const QString &code, const QString &phone = Phone) { return m_codes->check(phone, Secret(code)); }
    QString lastCode() { return m_codes->outbox().value(0).code; }
    QString file(const QString &name) const { return m_directory->filePath(name); }

    qint64 m_now = 0;
    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<Vault> m_vault;
    std::unique_ptr<CloudStore> m_store;
    std::unique_ptr<OneTimeCodes> m_codes;
};

void TestCloudParts::init()
{
    m_now = 1000 * Minute;
    m_directory = std::make_unique<QTemporaryDir>();
    open();
}

void TestCloudParts::open()
{
    m_vault = std::make_unique<Vault>(m_directory->path());
    m_store = std::make_unique<CloudStore>(m_directory->path());
    m_codes = std::make_unique<OneTimeCodes>(m_store.get(), m_vault.get(), [this] { return m_now; });
}

void TestCloudParts::codesExpire()
{
    QCOMPARE(send(), QString());
    const QString code = lastCode();
    QVERIFY(QRegularExpression("\\A[0-9]{6}\\z").match(code).hasMatch());
    QVERIFY(!packages::readFile(file("cloud.db-wal")).contains(code.toLatin1()));
    m_now += 5 * Minute - 1;
    QCOMPARE(check(code, Other), Expired);
    QCOMPARE(check(code), QString());
    QCOMPARE(check(code), Expired); // used up
    QCOMPARE(lastCode(), QString());
    QCOMPARE(send(), QString());
    const QString next = lastCode();
    m_now += 5 * Minute;
    QCOMPARE(check(next), Expired);
}

void TestCloudParts::codesCountTries()
{
    QCOMPARE(send(), QString());
    const QString code = lastCode();
    const QString wrong = code == "000000" ? "000001" : "000000";
    for (const QString &guess : {wrong, QString(), code + '0', QString(10000, u'7'), wrong}) {
        QCOMPARE(lastCode(), code);
        QCOMPARE(check(guess), QString("动态密码错误"));
    }
    QCOMPARE(lastCode(), QString()); // it can no longer be used
    QCOMPARE(check(code), Expired);
}

// A new code each minute would otherwise allow thousands of tries a day.
void TestCloudParts::triesAreLimitedADay()
{
    int tries = 0;
    for (int i = 0; i < 40; ++i) {
        m_now += Minute;
        QCOMPARE(send(), QString());
        tries += check("x") == "动态密码错误" ? 1 : 0;
    }
    QCOMPARE(tries, 20);
    open(); // also for the next process
    QVERIFY(check(lastCode()).contains("次数过多"));
    QCOMPARE(send(Other), QString());
    QCOMPARE(check(lastCode(), Other), QString()); // other phones are not concerned
    m_now += 24 * 60 * Minute;
    QCOMPARE(send(), QString());
    QCOMPARE(check(lastCode()), QString());
}

void TestCloudParts::codesAreOneAMinute()
{
    QCOMPARE(send(), QString());
    m_now += Minute - Second;
    QCOMPARE(send(), QString("动态密码发送过于频繁，请1秒后再试"));
    QCOMPARE(send(Other), QString());
    QCOMPARE(check(m_codes->outbox().last().code), QString());
    QVERIFY(!send().isEmpty()); // not even when the first was used
    m_now += Second;
    QCOMPARE(send(), QString());
    m_now += Minute;
    QCOMPARE(send(), QString());
    QCOMPARE(m_codes->outbox().size(), 2); // of each phone the newest alone
    m_now -= 100 * Minute;                 // the clock was set back
    QCOMPARE(m_codes->outbox().size(), 0);
    QCOMPARE(send(), QString());
    QCOMPARE(check(lastCode()), QString());
}

void TestCloudParts::passwordsAreSalted()
{
    const QString text = QString(10000, u'密');
    const QByteArray hash = hashPassword(Secret(text));
    QVERIFY(hash.startsWith("$argon2id$") && hash != hashPassword(Secret(text)));
    QVERIFY(isPassword(hash, Secret(text)));
    QVERIFY(!isPassword(hash, Secret(text.left(9999))) && !isPassword({}, Secret(text)));
    for (const QByteArray &bad : {QByteArray("$argon2id$v=19$m=65536,t=2,p=1$x$y"), hash.left(60)})
        QVERIFY_EXCEPTION_THROWN(isPassword(bad, Secret(text)), Failure); // not the user's mistake
}

void TestCloudParts::ticketsExpire()
{
    QrTickets tickets([this] { return m_now; });
    const QString first = tickets.open(way::Weixin, "c");
    const QString second = tickets.open(way::Weixin, "c"); // the same attempt again
    QVERIFY(!tickets.decide(first, QrState::Confirmed, "x"));
    m_now += 3 * Minute - 1;
    QCOMPARE(tickets.take("c").state, QrState::Waiting);
    QVERIFY(tickets.decide(second, QrState::Confirmed, "x"));
    m_now += 15 * Second;
    QCOMPARE(tickets.view(second)->state, QrState::Confirmed); // in time, and can still be fetched
    m_now += 15 * Second + 1;
    QCOMPARE(tickets.take("c").state, QrState::Expired);
    QVERIFY(!tickets.decide(second, QrState::Confirmed, "x"));
    QCOMPARE(tickets.take("unknown").state, QrState::Expired);
    for (int i = 0; i < 100; ++i)
        tickets.open(way::Qq, QString::number(i));
    QVERIFY(!tickets.view(second)); // the oldest make room
}

void TestCloudParts::rememberedDataAreUnreadable()
{
    RememberedSignIn memory;
    memory.account = "zhangsan";
    memory.password = "geheimes";
    memory.phone = Phone;
    memory.keepsPassword = true;
    memory.save(m_store.get(), *m_vault);
    for (const QFileInfo &info : QDir(m_directory->path()).entryInfoList({"cloud.*"}, QDir::Files)) {
        QVERIFY((info.permissions() & (QFile::ReadGroup | QFile::ReadOther)) == 0); // whatever the umask
        const QByteArray bytes = packages::readFile(info.filePath());
        for (const QString &secret : {memory.account, memory.password, memory.phone}) {
            const auto *utf16 = reinterpret_cast<const char *>(secret.utf16());
            QVERIFY(!bytes.contains(secret.toUtf8()));
            QVERIFY(!bytes.contains(QByteArray(utf16 + 1, 2 * secret.size() - 2))); // of either byte order
        }
    }
    const Vault sameKey(m_directory->path());
    const RememberedSignIn loaded = RememberedSignIn::load(m_store.get(), sameKey);
    QCOMPARE(loaded.password, memory.password);
    QCOMPARE(loaded.phone, memory.phone);
    QVERIFY(loaded.keepsPassword && !loaded.keepsPhone);
}

void TestCloudParts::badKeysCountAsNone()
{
    RememberedSignIn memory;
    memory.account = "zhangsan";
    int moved = 0;
    for (const QByteArray &content : {QByteArray(), QByteArray(""), QByteArray(200, 'x'), QByteArray(2'000'000, 'x')}) {
        memory.save(m_store.get(), *m_vault);
        if (content.isNull()) // the key itself, open to others
            QFile::setPermissions(file("cloud.key"), QFile::ReadOwner | QFile::ReadOther);
        else
            QVERIFY(packages::writeFile(file("cloud.key"), content));
        const LogCatcher log;
        open();
        QVERIFY(!log.texts().filter("cloud.key").isEmpty());
        QCOMPARE(RememberedSignIn::load(m_store.get(), *m_vault).account, QString());
        QCOMPARE(QDir(m_directory->path()).entryList({"cloud.key.broken-*"}).size(), ++moved); // kept
        memory.save(m_store.get(), *m_vault); // and from now on it works again
        QCOMPARE(RememberedSignIn::load(m_store.get(), *m_vault).account, memory.account);
    }
}

QTEST_GUILESS_MAIN(TestCloudParts)
#include "tst_CloudParts.moc"
