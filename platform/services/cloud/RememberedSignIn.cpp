#include "RememberedSignIn.h"
#include "../Log.h"
#include <QDataStream>
#include <QSaveFile>

namespace tarn::services {

namespace {

constexpr qint64 MaxSize = Q_INT64_C(1024) * 1024;
constexpr quint32 Version = 1;

Secret pack(const SignInMemory &memory)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_15);
    stream << Version << memory.model << memory.autoLogin << memory.keepsPassword << memory.keepsPhone << memory.account
           << memory.password << memory.phone << memory.autoAccount << memory.autoWay;
    return Secret(std::move(bytes));
}

// The bytes come from the vault, which has checked that they are ours.
bool unpack(const Secret &plain, SignInMemory *memory)
{
    const QByteArray bytes = QByteArray::fromRawData(plain.chars(), plain.size());
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_5_15);
    quint32 version = 0;
    stream >> version;
    if (version != Version)
        return false;
    stream >> memory->model >> memory->autoLogin >> memory->keepsPassword >> memory->keepsPhone >> memory->account >>
        memory->password >> memory->phone >> memory->autoAccount >> memory->autoWay;
    return stream.status() == QDataStream::Ok;
}

} // namespace

RememberedSignIn::RememberedSignIn(const QString &directory, const Vault *vault)
    : m_file(directory + QStringLiteral("/cloud.remembered"))
    , m_vault(vault)
{
}

SignInMemory RememberedSignIn::load() const
{
    QString error;
    const auto sealed = readPrivateFile(m_file, MaxSize, &error);
    if (sealed) {
        const auto plain = m_vault->open(*sealed);
        SignInMemory memory;
        if (plain && unpack(*plain, &memory))
            return memory;
        error = QStringLiteral("it cannot be opened");
    }
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("%1: %2; nothing counts as remembered").arg(m_file, error);
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
