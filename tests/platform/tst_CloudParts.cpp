#include "services/cloud/CloudStore.h"
#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/PasswordHash.h"
#include "services/cloud/QrTickets.h"
#include "services/cloud/RememberedSignIn.h"
#include "services/cloud/Vault.h"
#include "support/LogCatcher.h"
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using namespace tarn::services;

namespace {

constexpr qint64 Second = 1000;
constexpr qint64 Minute = 60 * Second;
const QString Phone = QStringLiteral("13800000001");

bool contains(const QString &file, const QByteArray &bytes)
{
    QFile read(file);
    return read.open(QIODevice::ReadOnly) && read.readAll().contains(bytes);
}

} // namespace

// The pieces of the cloud account service, on a clock of the test's own.
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
    void earlierDataAreTakenOver();
    void badKeysCountAsNone_data();
    void badKeysCountAsNone();

private:
    QString send(const QString &phone = Phone);
    QString check(const QString &code, const QString &phone = Phone);
    QString lastCode();
    std::function<qint64()> clock()
    {
        return [this] { return m_now; };
    }

    qint64 m_now = 0;
    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<Vault> m_vault;
    std::unique_ptr<CloudStore> m_store;
    std::unique_ptr<OneTimeCodes> m_codes;
};

void TestCloudParts::init()
{
    m_codes.reset();
    m_store.reset();
    m_now = 1000 * Minute;
    m_directory = std::make_unique<QTemporaryDir>();
    m_vault = std::make_unique<Vault>(m_directory->path());
    m_store = std::make_unique<CloudStore>(m_directory->path());
    m_codes = std::make_unique<OneTimeCodes>(m_store.get(), m_vault.get(), clock());
}

// The text for the user; empty when the code was sent.
QString TestCloudParts::send(const QString &phone)
{
    return m_codes->send(phone);
}

QString TestCloudParts::check(const QString &code, const QString &phone)
{
    return m_codes->check(phone, Secret(code));
}

QString TestCloudParts::lastCode()
{
    return m_codes->outbox().value(0).code;
}

void TestCloudParts::codesExpire()
{
    QCOMPARE(send(), QString());
    const QString code = lastCode();
    QVERIFY(QRegularExpression("\\A[0-9]{6}\\z").match(code).hasMatch());
    QVERIFY(!contains(m_directory->filePath("cloud.db-wal"), code.toLatin1()));
    m_now += 5 * Minute - 1;
    QCOMPARE(check(code, "13800000002"), "动态密码已失效，请重新获取");
    QCOMPARE(check(code), QString());
    QCOMPARE(check(code), "动态密码已失效，请重新获取"); // used up
    QCOMPARE(lastCode(), QString());
    QCOMPARE(send(), QString());
    const QString next = lastCode();
    m_now += 5 * Minute;
    QCOMPARE(check(next), "动态密码已失效，请重新获取");
}

void TestCloudParts::codesCountTries()
{
    QCOMPARE(send(), QString());
    const QString code = lastCode();
    const QString wrong = code == QLatin1String("000000") ? "000001" : "000000";
    for (const QString &guess : {wrong, QString(), code + QLatin1Char('0'), QString(10000, u'7'), wrong}) {
        QCOMPARE(lastCode(), code);
        QCOMPARE(check(guess), "动态密码错误");
    }
    QCOMPARE(lastCode(), QString()); // nobody can use it any longer
    QCOMPARE(check(code), "动态密码已失效，请重新获取");
}

// A new code each minute would otherwise allow thousands of tries a day.
void TestCloudParts::triesAreLimitedADay()
{
    int tries = 0;
    QString told;
    for (int i = 0; i < 40; ++i) {
        m_now += Minute;
        QCOMPARE(send(), QString());
        told = check("x");
        tries += told == "动态密码错误" ? 1 : 0;
    }
    QCOMPARE(tries, 20);
    QVERIFY2(told.contains("次数过多"), qPrintable(told));
    m_codes.reset(); // also for the next process
    m_store = std::make_unique<CloudStore>(m_directory->path());
    m_codes = std::make_unique<OneTimeCodes>(m_store.get(), m_vault.get(), clock());
    QVERIFY(check(lastCode()).contains("次数过多"));
    QCOMPARE(send("13800000002"), QString());
    QCOMPARE(check(lastCode(), "13800000002"), QString()); // others are not concerned
    m_now += 24 * 60 * Minute;
    QCOMPARE(send(), QString());
    QCOMPARE(check(lastCode()), QString());
}

void TestCloudParts::codesAreOneAMinute()
{
    QCOMPARE(send(), QString());
    const QString first = lastCode();
    m_now += Minute - Second;
    QCOMPARE(send(), "动态密码发送过于频繁，请1秒后再试");
    QCOMPARE(send("13800000002"), QString()); // another phone
    QCOMPARE(check(first), QString());
    QVERIFY(!send().isEmpty()); // not even when the first was used
    m_now += Second;
    QCOMPARE(send(), QString());
    QCOMPARE(send("13800000003"), QString());
    m_now += Minute;
    QCOMPARE(send(), QString());
    QCOMPARE(m_codes->outbox().size(), 3); // of each phone the newest alone
    m_now -= 100 * Minute;                 // the clock was set back
    QCOMPARE(m_codes->outbox().size(), 0);
    QCOMPARE(send(), QString());
    QCOMPARE(check(lastCode()), QString());
}

void TestCloudParts::passwordsAreSalted()
{
    const QString text = QString(10000, u'密');
    const QByteArray hash = hashPassword(Secret(text));
    QVERIFY(hash.startsWith("$argon2id$"));
    QVERIFY(hash != hashPassword(Secret(text)));
    QVERIFY(isPassword(hash, Secret(text)));
    QVERIFY(!isPassword(hash, Secret(text.left(9999))));
    QVERIFY(!isPassword({}, Secret(text)));
    for (const QByteArray &bad : {QByteArray("$argon2id$v=19$m=65536,t=2,p=1$x$y"), hash.left(60)})
        QVERIFY_EXCEPTION_THROWN(isPassword(bad, Secret(text)), Failure); // not the user's mistake
}

void TestCloudParts::ticketsExpire()
{
    QrTickets tickets(clock());
    const QString code = "c";
    const QString first = tickets.open(QrWay::Weixin, code);
    const QString second = tickets.open(QrWay::Weixin, code); // the same attempt again
    QVERIFY(!tickets.decide(first, QrState::Confirmed, "x"));
    m_now += 3 * Minute - 1;
    QCOMPARE(tickets.take(code).state, QrState::Waiting);
    QVERIFY(tickets.decide(second, QrState::Confirmed, "x"));
    m_now += 15 * Second;
    QCOMPARE(tickets.view(second)->state, QrState::Confirmed); // in time, and can still be fetched
    m_now += 15 * Second + 1;
    QCOMPARE(tickets.take(code).state, QrState::Expired);
    QVERIFY(!tickets.decide(second, QrState::Confirmed, "x"));
    QCOMPARE(tickets.take("unknown").state, QrState::Expired);
}

void TestCloudParts::rememberedDataAreUnreadable()
{
    SignInMemory memory;
    memory.account = "zhangsan";
    memory.password = "geheimes";
    memory.phone = Phone;
    memory.keepsPassword = true;
    const RememberedSignIn remembered(m_store.get(), m_vault.get());
    remembered.save(memory);
    for (const QFileInfo &file : QDir(m_directory->path()).entryInfoList({"cloud.*"}, QDir::Files)) {
        QVERIFY((file.permissions() & (QFile::ReadGroup | QFile::ReadOther)) == 0); // whatever the umask
        for (const QString &secret : {memory.account, memory.password, memory.phone}) {
            const auto *utf16 = reinterpret_cast<const char *>(secret.utf16());
            QVERIFY(!contains(file.filePath(), secret.toUtf8()));
            QVERIFY(!contains(file.filePath(), QByteArray(utf16, 2 * secret.size())));
            QVERIFY(!contains(file.filePath(), QByteArray(utf16 + 1, 2 * secret.size() - 2))); // big endian
        }
    }
    const Vault sameKey(m_directory->path());
    const SignInMemory loaded = RememberedSignIn(m_store.get(), &sameKey).load();
    QCOMPARE(loaded.password, memory.password);
    QCOMPARE(loaded.phone, memory.phone);
    QVERIFY(loaded.keepsPassword && !loaded.keepsPhone);
}

// An earlier version had no table for the sign-in data and kept them in a file.
void TestCloudParts::earlierDataAreTakenOver()
{
    CloudAccount account;
    account.name = "zhangsan";
    account.passwordHash = "hash";
    account.id = "1";
    QVERIFY(m_store->add(account));
    SignInMemory memory;
    memory.account = account.name;
    RememberedSignIn(m_store.get(), m_vault.get()).save(memory);
    const QByteArray sealed = m_store->remembered();
    m_codes.reset();
    m_store.reset();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "earlier");
        db.setDatabaseName(m_directory->filePath("cloud.db"));
        QVERIFY(db.open());
        for (const char *statement : {"DROP TABLE remembered", "DROP TABLE sent_codes",
                                      "CREATE TABLE codes(phone TEXT)", "PRAGMA user_version = 1"})
            QVERIFY(QSqlQuery(db).exec(QLatin1String(statement)));
    }
    QSqlDatabase::removeDatabase("earlier");
    m_store = std::make_unique<CloudStore>(m_directory->path());
    const QString file = m_directory->filePath("cloud.remembered");
    const RememberedSignIn remembered(m_store.get(), m_vault.get());
    QFile earlier(file);
    QVERIFY(earlier.open(QIODevice::WriteOnly) && earlier.write(sealed) == sealed.size());
    earlier.close();
    earlier.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    remembered.takeOver(file);
    QVERIFY(!QFile::exists(file));
    QCOMPARE(remembered.load().account, account.name);
    remembered.takeOver(file); // there is none
    QCOMPARE(remembered.load().account, account.name);
    QCOMPARE(m_store->accounts().size(), 1);
}

void TestCloudParts::badKeysCountAsNone_data()
{
    QTest::addColumn<QByteArray>("content"); // null: the key itself
    QTest::addColumn<bool>("open");
    QTest::newRow("empty") << QByteArray("") << false;
    QTest::newRow("garbage") << QByteArray(200, 'x') << false;
    QTest::newRow("huge") << QByteArray(2'000'000, 'x') << false;
    QTest::newRow("open to others") << QByteArray() << true;
}

void TestCloudParts::badKeysCountAsNone()
{
    QFETCH(const QByteArray, content);
    QFETCH(const bool, open);
    SignInMemory memory;
    memory.account = "zhangsan";
    RememberedSignIn(m_store.get(), m_vault.get()).save(memory);
    QFile file(m_directory->filePath("cloud.key"));
    if (!content.isNull()) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
    }
    QVERIFY(
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | (open ? QFile::ReadOther : QFile::Permission())));
    const LogCatcher log;
    const Vault vault(m_directory->path());
    vault.requireKey();
    const RememberedSignIn remembered(m_store.get(), &vault);
    QCOMPARE(remembered.load().account, QString());
    QCOMPARE(QDir(m_directory->path()).entryList({"cloud.key.broken-*"}).size(), 1); // kept
    QVERIFY(!log.texts().filter("cloud.key").isEmpty());
    remembered.save(memory); // and from now on it works again
    QCOMPARE(remembered.load().account, memory.account);
}

QTEST_GUILESS_MAIN(TestCloudParts)
#include "tst_CloudParts.moc"
