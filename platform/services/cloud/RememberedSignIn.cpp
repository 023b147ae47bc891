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

void setFormat(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::LittleEndian); // another order than the machine's copies the texts
}

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
    setFormat(stream);
    stream << Version << memory.model << memory.autoLogin << memory.keepsPassword << memory.keepsPhone << memory.account
           << memory.password << memory.phone << memory.autoAccount << memory.autoId << memory.autoWay;
    return Secret(std::move(bytes));
}

// The bytes come from the vault, which has checked that they are ours.
bool unpack(const Secret &plain, SignInMemory *memory)
{
    const QByteArray bytes = QByteArray::fromRawData(plain.chars(), plain.size());
    QDataStream stream(bytes);
    setFormat(stream);
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
    if (autoAccount != name && account != name)
        return false;
    if (autoAccount == name)
        setAuto(false, {}, {}, autoWay);
    if (account == name) {
        account.clear();
        wipe(&password);
        keepsPassword = false;
    }
    return true;
}

RememberedSignIn::RememberedSignIn(CloudStore *store, const Vault *vault)
    : m_store(store)
    , m_vault(vault)
{
}

void RememberedSignIn::takeOver(const QString &file) const
{
    const QString error = errorOf([&] {
        const QByteArray old = readPrivateFile(file, MaxSize);
        if (!old.isEmpty() && m_store->remembered().isEmpty())
            m_store->setRemembered(old);
        QFile::remove(file);
    });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("%1: %2").arg(file, error);
}

SignInMemory RememberedSignIn::load() const
{
    m_vault->requireKey();
    const QByteArray sealed = m_store->remembered();
    if (sealed.isEmpty())
        return {};
    const auto plain = m_vault->open(sealed);
    SignInMemory memory;
    if (plain && unpack(*plain, &memory))
        return memory;
    qCWarning(servicesLog, "the remembered sign-in cannot be opened with this key: it counts as none");
    return {};
}

void RememberedSignIn::save(const SignInMemory &memory) const
{
    m_store->setRemembered(m_vault->seal(pack(memory)));
}

} // namespace tarn::services
