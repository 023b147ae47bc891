#include "services/cloud/RememberedSignIn.h"
#include "services/Files.h"
#include "services/Log.h"
#include "services/cloud/CloudStore.h"
#include <QDataStream>
#include <QFile>

namespace tarn::services {

namespace {

constexpr qint64 MaxSize = 1024 * 1024; // bytes of a file of an earlier version
constexpr quint32 Version = 2;

Secret pack(const SignInMemory &memory)
{
    constexpr int Fixed = 64; // numbers and lengths
    int size = Fixed;
    for (const QString *text :
         {&memory.account, &memory.password, &memory.phone, &memory.autoAccount, &memory.autoId, &memory.autoWay})
        size += text->size() * static_cast<int>(sizeof(QChar));
    QByteArray bytes;
    bytes.reserve(size); // never moved, so that one copy is overwritten
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::LittleEndian); // another order than the machine's copies the texts
    stream << Version << memory.model << memory.autoLogin << memory.keepsPassword << memory.keepsPhone << memory.account
           << memory.password << memory.phone << memory.autoAccount << memory.autoId << memory.autoWay;
    return Secret(std::move(bytes));
}

// The bytes come from the vault, which has checked that they are ours.
bool unpack(const Secret &plain, SignInMemory *memory)
{
    const QByteArray bytes = QByteArray::fromRawData(plain.chars(), plain.size());
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::LittleEndian); // another order than the machine's copies the texts
    quint32 version = 0;
    stream >> version;
    if (version != Version)
        return false;
    stream >> memory->model >> memory->autoLogin >> memory->keepsPassword >> memory->keepsPhone >> memory->account >>
        memory->password >> memory->phone >> memory->autoAccount >> memory->autoId >> memory->autoWay;
    return stream.status() == QDataStream::Ok;
}

} // namespace

void SignInMemory::setAuto(bool wanted, const QString &name, const QString &id, const QString &usedWay)
{
    autoLogin = wanted;
    autoAccount = wanted ? name : QString();
    autoId = wanted ? id : QString();
    autoWay = usedWay;
}

bool SignInMemory::forget(const QString &name)
{
    const bool isAuto = autoAccount == name;
    const bool isFilled = account == name;
    if (isAuto) {
        autoAccount.clear();
        autoId.clear();
        autoLogin = false;
    }
    if (isFilled) {
        account.clear();
        wipe(&password);
        keepsPassword = false;
    }
    return isAuto || isFilled;
}

RememberedSignIn::RememberedSignIn(CloudStore *store, const Vault *vault)
    : m_store(store)
    , m_vault(vault)
{
}

void RememberedSignIn::takeOver(const QString &file) const
{
    const PrivateFile old = readPrivateFile(file, MaxSize);
    QByteArray sealed;
    QString error = old.error;
    if (old.state == PrivateFile::Sound)
        error = m_store->remembered(&sealed);
    if (old.state == PrivateFile::Sound && error.isEmpty() && sealed.isEmpty())
        error = m_store->setRemembered(old.bytes);
    if (error.isEmpty())
        QFile::remove(file);
    else
        qCWarning(servicesLog).noquote() << QStringLiteral("%1: %2").arg(file, error);
}

SignInMemory RememberedSignIn::load(QString *error) const
{
    QByteArray sealed;
    *error = m_vault->error();
    if (error->isEmpty())
        *error = m_store->remembered(&sealed);
    if (!error->isEmpty() || sealed.isEmpty())
        return {};
    const auto plain = m_vault->open(sealed);
    SignInMemory memory;
    if (plain && unpack(*plain, &memory))
        return memory;
    qCWarning(servicesLog, "the remembered sign-in cannot be opened with this key: it counts as none");
    return {};
}

QString RememberedSignIn::save(const SignInMemory &memory) const
{
    return m_vault->error().isEmpty() ? m_store->setRemembered(m_vault->seal(pack(memory))) : m_vault->error();
}

} // namespace tarn::services
