#include "services/cloud/CloudStore.h"
#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/PasswordHash.h"
#include "services/cloud/QrTickets.h"
#include "services/cloud/RememberedSignIn.h"
#include "services/cloud/SignInBackoff.h"
#include "services/cloud/Vault.h"
#include "support/LogCatcher.h"
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sys/resource.h>
#include <unistd.h>

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
    void codesAreOneAMinute();
    void theOutboxIsBounded();
    void passwordsAreSalted();
    void withoutMemoryNothingIsJudged();
    void guessingGetsSlow();
    void ticketsAreDecidedOnce();
    void ticketsExpire();
    void ticketsAreBounded();
    void rememberedDataAreUnreadable();
    void badFilesCountAsNone_data();
    void badFilesCountAsNone();
    void readErrorsCostNothing();

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

// What the user is told; empty when the code was sent.
QString TestCloudParts::send(const QString &phone)
{
    QString refusal;
    const QString error = m_codes->send(phone, &refusal);
    return error + refusal;
}

QString TestCloudParts::check(const QString &code, const QString &phone)
{
    QString refusal;
    const QString error = m_codes->check(phone, Secret(code), &refusal);
    return error + refusal;
}

QString TestCloudParts::lastCode()
{
    QList<OneTimeCodes::Sent> sent;
    m_codes->outbox(&sent);
    return sent.isEmpty() ? QString() : sent.first().code;
}

void TestCloudParts::codesExpire()
{
    QCOMPARE(send(), QString());
    const QString code = lastCode();
    QVERIFY(QRegularExpression(QStringLiteral("\\A[0-9]{6}\\z")).match(code).hasMatch());
    QVERIFY(!contains(m_directory->filePath(QStringLiteral("cloud.db-wal")), code.toLatin1()));
    m_now += 5 * Minute - 1;
    QCOMPARE(check(code, QStringLiteral("13800000002")), QStringLiteral("动态密码已失效，请重新获取"));
    QCOMPARE(check(code), QString());
    QCOMPARE(check(code), QStringLiteral("动态密码已失效，请重新获取")); // used up
    QCOMPARE(lastCode(), QString());
    QCOMPARE(send(), QString());
    const QString next = lastCode();
    m_now += 5 * Minute;
    QCOMPARE(check(next), QStringLiteral("动态密码已失效，请重新获取"));
}

void TestCloudParts::codesCountTries()
{
    QCOMPARE(send(), QString());
    const QString code = lastCode();
    const QString wrong = code == QLatin1String("000000") ? QStringLiteral("000001") : QStringLiteral("000000");
    for (const QString &guess : {wrong, QString(), code + QLatin1Char('0'), QString(10000, u'7'), wrong}) {
        QCOMPARE(lastCode(), code);
        QCOMPARE(check(guess), QStringLiteral("动态密码错误"));
    }
    QCOMPARE(lastCode(), QString()); // nobody can use it any longer
    QCOMPARE(check(code), QStringLiteral("动态密码已失效，请重新获取"));
}

void TestCloudParts::codesAreOneAMinute()
{
    QCOMPARE(send(), QString());
    const QString first = lastCode();
    m_now += Minute - Second;
    QCOMPARE(send(), QStringLiteral("动态密码发送过于频繁，请1秒后再试"));
    QCOMPARE(send(QStringLiteral("13800000002")), QString()); // another phone
    QCOMPARE(check(first), QString());
    QVERIFY(!send().isEmpty()); // not even when the first was used
    m_now += Second;
    QCOMPARE(send(), QString());
    QCOMPARE(send(QStringLiteral("13800000003")), QString());
    m_now += Minute;
    QCOMPARE(send(), QString());
    const auto count = [this] {
        QList<OneTimeCodes::Sent> sent;
        m_codes->outbox(&sent);
        return sent.size();
    };
    QCOMPARE(count(), 3);  // of each phone the newest alone
    m_now -= 100 * Minute; // the clock was set back
    QCOMPARE(count(), 0);
    QCOMPARE(send(), QString());
    QCOMPARE(check(lastCode()), QString());
}

void TestCloudParts::theOutboxIsBounded()
{
    for (int i = 0; i < 130; ++i)
        QCOMPARE(send(QStringLiteral("13%1").arg(i, 9, 10, QLatin1Char('0'))), QString());
    QList<OneTimeCodes::Sent> sent;
    QCOMPARE(m_codes->outbox(&sent), QString());
    QCOMPARE(sent.size(), 100);
    QCOMPARE(sent.first().phone, QStringLiteral("13000000129"));
}

void TestCloudParts::passwordsAreSalted()
{
    const QString text = QString(10000, u'密');
    const QByteArray hash = hashPassword(Secret(text));
    QVERIFY(hash.startsWith("$argon2id$"));
    QVERIFY(hash != hashPassword(Secret(text)));
    QVERIFY(checkPassword(hash, Secret(text)) == PasswordCheck::Matches);
    QVERIFY(checkPassword(hash, Secret(text.left(9999))) == PasswordCheck::Differs);
    QVERIFY(checkPassword({}, Secret(text)) == PasswordCheck::Differs);
}

// Then nobody knows whether the password is wrong.
void TestCloudParts::withoutMemoryNothingIsJudged()
{
    const Secret password(QStringLiteral("p"));
    const QByteArray hash = hashPassword(password);
    QFile pages(QStringLiteral("/proc/self/statm"));
    QVERIFY(pages.open(QIODevice::ReadOnly));
    const rlim_t used = pages.readAll().split(' ').first().toULongLong() * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_AS, &before), 0);
    const rlimit scarce{used + (rlim_t{16} << 20), before.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_AS, &scarce), 0);
    const PasswordCheck known = checkPassword(hash, password);
    const PasswordCheck unknown = checkPassword({}, password);
    const QByteArray none = hashPassword(password);
    ::setrlimit(RLIMIT_AS, &before);
    QVERIFY(known == PasswordCheck::Failed);
    QVERIFY(unknown == PasswordCheck::Failed);
    QCOMPARE(none, QByteArray());
    QVERIFY(checkPassword(hash, password) == PasswordCheck::Matches);
    QVERIFY(checkPassword("$argon2id$v=19$m=65536,t=2,p=1$x$y", password) == PasswordCheck::Failed);
}

void TestCloudParts::guessingGetsSlow()
{
    SignInBackoff backoff(clock());
    const QString name = QStringLiteral("甲");
    for (int i = 0; i < 5; ++i)
        QCOMPARE(backoff.admit(name), 0);
    QCOMPARE(backoff.admit(name), 2);
    m_now += 2 * Second;
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(backoff.admit(name), 0);
        backoff.withdrawn(name); // was not judged
    }
    m_now -= 2 * Second;
    QCOMPARE(backoff.admit(name), 2);
    QCOMPARE(backoff.admit(QStringLiteral("乙")), 0);
    m_now += 2 * Second;
    QCOMPARE(backoff.admit(name), 0);
    QCOMPARE(backoff.admit(name), 4);
    for (int i = 0; i < 40; ++i) { // no overflow after many
        m_now += 5 * Minute;
        QCOMPARE(backoff.admit(name), 0);
    }
    QCOMPARE(backoff.admit(name), 300);
    m_now += 5 * Minute;
    QCOMPARE(backoff.admit(name), 0);
    backoff.succeeded(name);
    QCOMPARE(backoff.admit(name), 0);
    QCOMPARE(backoff.admit(name), 0);
    for (int i = 0; i < 10100; ++i) // names are forgotten, not hoarded
        backoff.admit(QString::number(i));
}

void TestCloudParts::ticketsAreDecidedOnce()
{
    QrTickets tickets(clock());
    const QString code = QStringLiteral("1a2b3c4d");
    const QString ticket = tickets.open(QrWay::Qq, code);
    QVERIFY(!ticket.contains(code));
    QCOMPARE(tickets.take(code).state, QrState::Waiting);
    tickets.scanned(ticket);
    QCOMPARE(tickets.take(code).state, QrState::Scanned);
    QVERIFY(tickets.confirm(ticket, QStringLiteral("123")));
    QVERIFY(!tickets.refuse(ticket));
    QVERIFY(!tickets.confirm(ticket, QStringLiteral("456")));
    const auto outcome = tickets.take(code);
    QCOMPARE(outcome.state, QrState::Confirmed);
    QCOMPARE(outcome.identity, QStringLiteral("123"));
    QVERIFY(outcome.way == QrWay::Qq);
    QCOMPARE(tickets.take(code).state, QrState::Expired); // told once
    tickets.setResult(outcome.ticket, QStringLiteral("好"));
    m_now += 5 * Minute;
    QCOMPARE(tickets.view(ticket)->state, QrState::Confirmed); // the page goes on telling it
    QCOMPARE(tickets.view(ticket)->result, QStringLiteral("好"));

    const QString refused = tickets.open(QrWay::Weixin, code);
    QVERIFY(tickets.refuse(refused));
    QCOMPARE(tickets.take(code).state, QrState::Refused);
}

void TestCloudParts::ticketsExpire()
{
    QrTickets tickets(clock());
    const QString code = QStringLiteral("c");
    const QString first = tickets.open(QrWay::Weixin, code);
    const QString second = tickets.open(QrWay::Weixin, code); // the same attempt again
    QVERIFY(!tickets.confirm(first, QStringLiteral("x")));
    m_now += 3 * Minute - 1;
    QCOMPARE(tickets.take(code).state, QrState::Waiting);
    QVERIFY(tickets.confirm(second, QStringLiteral("x")));
    m_now += 15 * Second;
    QCOMPARE(tickets.view(second)->state, QrState::Confirmed); // in time, and can still be fetched
    m_now += 15 * Second + 1;
    QCOMPARE(tickets.take(code).state, QrState::Expired);
    QVERIFY(!tickets.confirm(second, QStringLiteral("x")));
    QCOMPARE(tickets.take(QStringLiteral("unknown")).state, QrState::Expired);
}

void TestCloudParts::ticketsAreBounded()
{
    QrTickets tickets(clock());
    QStringList names;
    for (int i = 0; i < 200; ++i, ++m_now)
        names << tickets.open(QrWay::Weixin, QString::number(i));
    const auto alive = std::count_if(names.cbegin(), names.cend(),
                                     [&](const QString &name) { return tickets.view(name).has_value(); });
    QCOMPARE(alive, 64);
    QVERIFY(tickets.view(names.last()));
    QCOMPARE(tickets.take(QStringLiteral("0")).state, QrState::Expired);
    m_now += 60 * Minute;
    tickets.open(QrWay::Weixin, QStringLiteral("new"));
    QVERIFY(!tickets.view(names.last()));
}

void TestCloudParts::rememberedDataAreUnreadable()
{
    SignInMemory memory;
    memory.account = QStringLiteral("zhangsan");
    memory.password = QStringLiteral("geheimes");
    memory.phone = Phone;
    memory.keepsPassword = true;
    const RememberedSignIn remembered(m_directory->path(), m_vault.get());
    QCOMPARE(remembered.save(memory), QString());
    QCOMPARE(send(QStringLiteral("13800000009")), QString()); // makes the database
    for (const QFileInfo &file : QDir(m_directory->path()).entryInfoList({QStringLiteral("cloud.*")}, QDir::Files)) {
        QVERIFY((file.permissions() & (QFile::ReadGroup | QFile::ReadOther)) == 0); // whatever the umask
        for (const QString &secret : {memory.account, memory.password, memory.phone}) {
            const auto *utf16 = reinterpret_cast<const char *>(secret.utf16());
            QVERIFY(!contains(file.filePath(), secret.toUtf8()));
            QVERIFY(!contains(file.filePath(), QByteArray(utf16, 2 * secret.size())));
            QVERIFY(!contains(file.filePath(), QByteArray(utf16 + 1, 2 * secret.size() - 2))); // big endian
        }
    }
    const Vault sameKey(m_directory->path());
    QString error;
    const SignInMemory loaded = RememberedSignIn(m_directory->path(), &sameKey).load(&error);
    QCOMPARE(error, QString());
    QCOMPARE(loaded.password, memory.password);
    QCOMPARE(loaded.phone, memory.phone);
    QVERIFY(loaded.keepsPassword && !loaded.keepsPhone);
}

void TestCloudParts::badFilesCountAsNone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content"); // null: keeps what it holds
    QTest::addColumn<bool>("open");
    for (const QString &name : {QStringLiteral("cloud.remembered"), QStringLiteral("cloud.key")}) {
        const QByteArray prefix = name.toLatin1();
        QTest::newRow(prefix + " empty") << name << QByteArray("") << false;
        QTest::newRow(prefix + " garbage") << name << QByteArray(200, 'x') << false;
        QTest::newRow(prefix + " huge") << name << QByteArray(2'000'000, 'x') << false;
        QTest::newRow(prefix + " open to others") << name << QByteArray() << true;
    }
}

void TestCloudParts::badFilesCountAsNone()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, content);
    QFETCH(const bool, open);
    SignInMemory memory;
    memory.account = QStringLiteral("zhangsan");
    QCOMPARE(RememberedSignIn(m_directory->path(), m_vault.get()).save(memory), QString());
    QFile file(m_directory->filePath(name));
    if (!content.isNull()) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
    }
    QVERIFY(
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | (open ? QFile::ReadOther : QFile::Permission())));
    const LogCatcher log;
    const Vault vault(m_directory->path());
    QCOMPARE(vault.error(), QString());
    const RememberedSignIn remembered(m_directory->path(), &vault);
    QString error;
    QCOMPARE(remembered.load(&error).account, QString());
    QCOMPARE(error, QString());
    QCOMPARE(QDir(m_directory->path()).entryList({name + QStringLiteral(".broken-*")}).size(),
             1); // nothing is thrown away
    QVERIFY(!log.texts().filter(name).isEmpty());
    QCOMPARE(remembered.save(memory), QString()); // and from now on it works again
    QCOMPARE(remembered.load(&error).account, memory.account);
}

// An error of the machine must cost nothing: here, no descriptor is left to open a file with.
void TestCloudParts::readErrorsCostNothing()
{
    SignInMemory memory;
    memory.account = QStringLiteral("zhangsan");
    const RememberedSignIn remembered(m_directory->path(), m_vault.get());
    QCOMPARE(remembered.save(memory), QString());
    QCOMPARE(send(), QString());
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const Vault unread(m_directory->path());
    QString error;
    const SignInMemory loaded = remembered.load(&error);
    ::setrlimit(RLIMIT_NOFILE, &before);
    QVERIFY(!error.isEmpty() && loaded.account.isEmpty());
    QVERIFY(!unread.error().isEmpty());
    const RememberedSignIn closed(m_directory->path(), &unread);
    QVERIFY(!closed.save(memory).isEmpty());
    QCOMPARE(closed.load(&error).account, QString());
    QString refusal;
    OneTimeCodes codes(m_store.get(), &unread, clock());
    QCOMPARE(codes.check(Phone, Secret(QStringLiteral("123456")), &refusal), unread.error());
    const Vault again(m_directory->path());
    QCOMPARE(RememberedSignIn(m_directory->path(), &again).load(&error).account, memory.account);
    QCOMPARE(QDir(m_directory->path()).entryList({QStringLiteral("cloud.key*")}),
             QStringList{QStringLiteral("cloud.key")});
}

QTEST_GUILESS_MAIN(TestCloudParts)
#include "tst_CloudParts.moc"
