#include "services/cloud/RememberedSignIn.h"
#include "services/Files.h"
#include <QDataStream>
#include <QFile>
#include <QSaveFile>

namespace tarn::services {

namespace {

constexpr qint64 MaxSize = Q_INT64_C(1024) * 1024;
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

RememberedSignIn::RememberedSignIn(const QString &directory, const Vault *vault)
    : m_file(directory + QStringLiteral("/cloud.remembered"))
    , m_vault(vault)
{
}

SignInMemory RememberedSignIn::load(QString *error) const
{
    *error = m_vault->error();
    if (!error->isEmpty())
        return {};
    const PrivateFile file = readPrivateFile(m_file, MaxSize);
    if (file.state == PrivateFile::Absent)
        return {};
    if (file.state == PrivateFile::Sound) {
        const auto plain = m_vault->open(file.bytes);
        SignInMemory memory;
        if (plain && unpack(*plain, &memory))
            return memory;
    }
    if (file.state == PrivateFile::Unreadable)
        *error = QStringLiteral("%1: %2").arg(m_file, file.error);
    else
        *error = moveAside(m_file, file.error.isEmpty() ? QStringLiteral("it cannot be opened") : file.error);
    return {};
}

QString RememberedSignIn::save(const SignInMemory &memory) const
{
    if (!m_vault->error().isEmpty())
        return m_vault->error();
    QSaveFile file(m_file);
    file.setDirectWriteFallback(false);
    const QByteArray sealed = m_vault->seal(pack(memory));
    if (file.open(QIODevice::WriteOnly) && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
        file.write(sealed) == sealed.size() && file.commit())
        return {};
    return QStringLiteral("%1: %2").arg(m_file, file.errorString());
}

} // namespace tarn::services
